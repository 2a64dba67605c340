// Reference-counted COM objects: the bases of a class that the host holds by its interfaces.
//
//   class Sample : public CComObjectRootEx<CComSingleThreadModel>,
//                  public CComCoClass<Sample, &CLSID_Sample>,
//                  public ISample {
//    public:
//     using InterfaceMap = platform::InterfaceMap<platform::Answers<ISample, &IID_ISample>>;
//   };
//
// The class doesn't implement IUnknown; CComObject<Sample> does, and that is what gets allocated.
#pragma once

#include <atomic>
#include <new>

#include "platform/com/classfactory.h"
#include "platform/com/comtypes.h"
#include "platform/com/dllmodule.h"

// Plain counting, for objects that one apartment uses.
class CComSingleThreadModel {
 public:
  using Count = LONG;
  static LONG Increment(Count& count) { return ++count; }
  static LONG Decrement(Count& count) { return --count; }
};

// Atomic counting, for objects that any thread may use.
class CComMultiThreadModel {
 public:
  using Count = std::atomic<LONG>;
  static LONG Increment(Count& count) { return ++count; }
  static LONG Decrement(Count& count) { return --count; }
};

// The reference count. It starts at 0: the creator adds the first reference.
//
// A class that must stay readable after its last Release sets kStaysReadable and gets no destructor
// call: the object's memory is never freed, and FinalRelease is all that happens to it.
template <class ThreadModel>
class CComObjectRootEx {
 public:
  static constexpr bool kStaysReadable = false;

  ULONG InternalAddRef() { return static_cast<ULONG>(ThreadModel::Increment(m_dwRef)); }
  ULONG InternalRelease() { return static_cast<ULONG>(ThreadModel::Decrement(m_dwRef)); }

  // Called after the last Release. References that come and go meanwhile don't end the object
  // again.
  void FinalRelease() {}

 protected:
  // A count that no number of references brings back to 0.
  static constexpr LONG kEnding = 0x40000000;

  CComObjectRootEx() = default;
  ~CComObjectRootEx() = default;

  typename ThreadModel::Count m_dwRef = 0;
};

namespace platform {

// A row of an interface map.
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

// The interfaces that QueryInterface supports: those of the rows, and IUnknown through the first
// row.
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

// Implements QueryInterface for a class with a map. Returns E_POINTER if `object` is null and
// E_NOINTERFACE for other interfaces.
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

// The class that is allocated. Each object keeps the module loaded.
template <class Base>
class CComObject final : public Base {
 public:
  CComObject() { platform::LockModule(); }
  virtual ~CComObject() { End(); }

  CComObject(const CComObject&) = delete;
  CComObject& operator=(const CComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    return platform::AnswerQuery(static_cast<Base*>(this), iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return this->InternalAddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG count = this->InternalRelease();
    if (count == 0) {
      if constexpr (Base::kStaysReadable) {
        End();
      } else {
        delete this;
      }
    }
    return count;
  }

 private:
  void End() {
    this->m_dwRef = Base::kEnding;
    this->FinalRelease();
    platform::UnlockModule();
  }
};

// The factory and the creation of a class that can be created from outside.
template <class Class, const CLSID* ClassId>
class CComCoClass {
 public:
  static const CLSID& GetObjectCLSID() { return *ClassId; }

  // Creates the class object, for the object map.
  static HRESULT CreateClassObject(platform::InstanceCreator creator, REFIID iid, void** object) {
    return CComClassFactory::Create(creator, iid, object);
  }

  // The object map's instance creator. Returns CLASS_E_NOAGGREGATION for an outer unknown,
  // E_OUTOFMEMORY if there is no memory, otherwise the result of QueryInterface. An object that
  // doesn't answer `iid` ends at once.
  static HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto* const created = new (std::nothrow) CComObject<Class>;
    if (created == nullptr) return E_OUTOFMEMORY;
    created->AddRef();
    const HRESULT hr = created->QueryInterface(iid, object);
    created->Release();
    return hr;
  }

 protected:
  CComCoClass() = default;
  ~CComCoClass() = default;
};
