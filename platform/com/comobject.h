// Reference-counted COM objects: the bases of a class that the host holds by its interfaces.
//
//   class Sample : public CComObjectRootEx<CComSingleThreadModel>,
//                  public CComCoClass<Sample, &CLSID_Sample>,
//                  public ISample {
//    public:
//     using InterfaceMap = platform::InterfaceMap<platform::Answers<ISample, &IID_ISample>>;
//   };
//
// Such a class leaves IUnknown open; CComObject<Sample> completes it and is what gets allocated.
#pragma once

#include <atomic>
#include <new>

#include "platform/com/classfactory.h"
#include "platform/com/comtypes.h"
#include "platform/com/dllmodule.h"

// Counts of an object that lives in one apartment: plain arithmetic.
class CComSingleThreadModel {
 public:
  using Count = LONG;
  static LONG Increment(Count& count) { return ++count; }
  static LONG Decrement(Count& count) { return --count; }
};

// Counts of an object that any thread may hold.
class CComMultiThreadModel {
 public:
  using Count = std::atomic<LONG>;
  static LONG Increment(Count& count) { return ++count; }
  static LONG Decrement(Count& count) { return --count; }
};

// The reference count. It starts at 0: the first QueryInterface of the creator makes it 1.
template <class ThreadModel>
class CComObjectRootEx {
 public:
  ULONG InternalAddRef() { return static_cast<ULONG>(ThreadModel::Increment(m_dwRef)); }
  ULONG InternalRelease() { return static_cast<ULONG>(ThreadModel::Decrement(m_dwRef)); }

 protected:
  CComObjectRootEx() = default;
  ~CComObjectRootEx() = default;

  typename ThreadModel::Count m_dwRef = 0;
};

namespace platform {

// One row of a class's interface map.
template <class Interface, const IID* Iid>
struct Answers {
  template <class Object>
  static IUnknown* Find(Object* object, REFIID iid) {
    return IsEqualGUID(iid, *Iid) ? static_cast<Interface*>(object) : nullptr;
  }
  template <class Object>
  static IUnknown* Identity(Object* object) {
    return static_cast<Interface*>(object);
  }
};

// What QueryInterface answers: IUnknown, by the first row, each row's interface, and no other.
template <class First, class... Others>
struct InterfaceMap {
  template <class Object>
  static IUnknown* Find(Object* object, REFIID iid) {
    if (IsEqualGUID(iid, IID_IUnknown)) return First::Identity(object);
    IUnknown* found = First::Find(object, iid);
    ((found = found != nullptr ? found : Others::Find(object, iid)), ...);
    return found;
  }
};

// The steps of QueryInterface for a class with a map: E_POINTER without a place for the answer,
// E_NOINTERFACE for what the map doesn't have.
template <class Object>
HRESULT AnswerQuery(Object* object, REFIID iid, void** result) {
  if (result == nullptr) return E_POINTER;
  IUnknown* const found = Object::InterfaceMap::Find(object, iid);
  *result = found;
  if (found == nullptr) return E_NOINTERFACE;
  found->AddRef();
  return S_OK;
}

}  // namespace platform

// The object that is allocated. For as long as it lives the module stays loaded.
template <class Base>
class CComObject final : public Base {
 public:
  CComObject() { platform::LockModule(); }
  virtual ~CComObject() { platform::UnlockModule(); }

  CComObject(const CComObject&) = delete;
  CComObject& operator=(const CComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    return platform::AnswerQuery(static_cast<Base*>(this), iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return this->InternalAddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG count = this->InternalRelease();
    if (count == 0) delete this;
    return count;
  }
};

// What makes a class creatable from outside: how its factory and its objects are made.
template <class Class, const CLSID* ClassId>
class CComCoClass {
 public:
  static const CLSID& GetObjectCLSID() { return *ClassId; }

  // The object map's class-object creator.
  static HRESULT CreateClassObject(platform::InstanceCreator creator, REFIID iid, void** object) {
    return CComClassFactory::Create(creator, iid, object);
  }

  // The object map's instance creator. CLASS_E_NOAGGREGATION for an outer unknown, E_OUTOFMEMORY
  // when nothing could be allocated, otherwise what QueryInterface gives; an object that doesn't
  // answer `iid` is destroyed again.
  static HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto* const created = new (std::nothrow) CComObject<Class>;
    if (created == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = created->QueryInterface(iid, object);
    if (FAILED(hr)) delete created;
    return hr;
  }

 protected:
  CComCoClass() = default;
  ~CComCoClass() = default;
};
