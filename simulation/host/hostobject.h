// What every object of the simulated host is built on: reference counting with a ledger, identity
// queries answered from the list of its interfaces, and calls that go through the journal.
//
// An object is a class derived from HostObject, or from HostDispatch if its interface is dual:
//
//   class HostThing final : public HostDispatch<HostThing, _Thing> {
//    public:
//     static constexpr std::string_view kHostClass = "_Thing";
//     HRESULT STDMETHODCALLTYPE get_Text(BSTR* text) override {
//       return Answer("_Thing::get_Text", text, [&] { return GiveText(m_text, text); });
//     }
//     std::string Label() const override { ... }
//   };
//
// It is made with HostRef<HostThing>::Make(core, ...) and lives as long as somebody holds it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/comtypes.h"
#include "platform/com/mapitypes.h"
#include "platform/widetext.h"
#include "simulation/host/hostcalls.h"
#include "simulation/host/hostledger.h"

namespace simulation::host {

struct HostPropertyName {
  GUID propertySet;
  platform::WideString name;
};

// What the objects of one host share. It lives as long as the last of them.
struct HostCore {
  HostLedger ledger;
  HostCalls calls;
  std::string versionText;
  // The number in front of the version text's first dot; 0 if there is none, which counts as the
  // newest version.
  int majorVersion = 0;
  // The message store's table of named properties: the one at index n has the id 0x8000 + n.
  std::vector<HostPropertyName> propertyNames;
};

using HostCorePointer = std::shared_ptr<HostCore>;

// A member that nobody has any business calling was called.
[[noreturn]] inline void Trap(std::string_view hostClass, std::string_view member) {
  std::fprintf(stderr, "simulated host: %.*s::%.*s must not be called\n",
               static_cast<int>(hostClass.size()), hostClass.data(),
               static_cast<int>(member.size()), member.data());
  std::abort();
}

// Gives a fresh string with the whole text. The caller owns it.
HRESULT GiveWideText(HostCore& core, platform::WideStringView text, BSTR* place);

// The counts and the ledger entry. Objects begin with no reference: HostRef takes the first.
class HostObjectBase {
 public:
  HostObjectBase(const HostObjectBase&) = delete;
  HostObjectBase& operator=(const HostObjectBase&) = delete;

  // The interface, and what tells this object from its like. Readable, not unique.
  virtual std::string Label() const = 0;

  ULONG References() const { return m_references; }
  ULONG HostReferences() const { return m_hostReferences; }
  // The references that were given away and not yet released.
  ULONG Outstanding() const { return m_references - m_hostReferences; }

 protected:
  explicit HostObjectBase(HostCorePointer core) : m_core(std::move(core)) {
    m_core->ledger.Add(this);
  }
  virtual ~HostObjectBase() { m_core->ledger.Remove(this); }

  HostCore& Core() const { return *m_core; }
  const HostCorePointer& SharedCore() const { return m_core; }

  ULONG TakeReference() { return ++m_references; }
  ULONG DropReference();

  // For members that came with a later version of the host: on an older one their slot isn't there.
  void NeedVersion(int version, std::string_view hostClass, std::string_view member) const {
    if (m_core->majorVersion != 0 && m_core->majorVersion < version) Trap(hostClass, member);
  }

  // The way of every call that gives one result through `place`: journal, fault, work. A null place
  // gives E_POINTER.
  template <typename Out, typename Work>
  HRESULT Answer(HostCallId call, Out* place, Work work) {
    const std::optional<HRESULT> fault = m_core->calls.Enter(call);
    if (place == nullptr) return E_POINTER;
    // A number keeps what the caller had put there when the call fails, a pointer doesn't.
    if (std::is_pointer_v<Out> || fault == S_OK) *place = Out{};
    if (fault && *fault <= 0) return *fault;
    const HRESULT result = work();
    return fault ? *fault : result;
  }

  // The same for a call with no result to give.
  template <typename Work>
  HRESULT Answer(HostCallId call, Work work) {
    const std::optional<HRESULT> fault = m_core->calls.Enter(call);
    if (fault && *fault <= 0) return *fault;
    const HRESULT result = work();
    return fault ? *fault : result;
  }

  // Gives a text; an absent one is null.
  HRESULT GiveText(const std::optional<platform::WideString>& text, BSTR* place) const {
    return text ? GiveWideText(*m_core, *text, place) : S_OK;
  }

 private:
  friend class HostLedger;
  template <typename>
  friend class HostRef;

  void TakeHostReference() {
    ++m_references;
    ++m_hostReferences;
  }
  void DropHostReference() {
    --m_hostReferences;
    if (--m_references == 0) delete this;
  }

  HostCorePointer m_core;
  ULONG m_references = 0;
  ULONG m_hostReferences = 0;
  HostObjectBase* m_previous = nullptr;
  HostObjectBase* m_next = nullptr;
};

// A reference of the host's own.
template <typename Object>
class HostRef {
 public:
  HostRef() = default;
  explicit HostRef(Object* object) : m_object(object) { Take(); }
  HostRef(const HostRef& other) : m_object(other.m_object) { Take(); }
  HostRef(HostRef&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
  HostRef& operator=(HostRef other) noexcept {
    std::swap(m_object, other.m_object);
    return *this;
  }
  ~HostRef() {
    if (m_object != nullptr) static_cast<HostObjectBase*>(m_object)->DropHostReference();
  }

  template <typename... Arguments>
  static HostRef Make(Arguments&&... arguments) {
    return HostRef(new Object(std::forward<Arguments>(arguments)...));
  }

  Object* Get() const { return m_object; }
  Object* operator->() const { return m_object; }
  Object& operator*() const { return *m_object; }
  explicit operator bool() const { return m_object != nullptr; }

  // Hands a reference to the add-in through `place`.
  template <typename Interface>
  HRESULT Give(Interface** place) const {
    if (m_object == nullptr) return S_OK;
    m_object->AddRef();
    *place = m_object;
    return S_OK;
  }

 private:
  void Take() {
    if (m_object != nullptr) static_cast<HostObjectBase*>(m_object)->TakeHostReference();
  }

  Object* m_object = nullptr;
};

// The name and the id of each interface that an object can be asked for.
struct HostInterface {
  std::string_view name;
  const IID* iid;
};
template <typename Interface>
inline constexpr HostInterface kHostInterface = {};
template <>
inline constexpr HostInterface kHostInterface<IDispatch> = {"IDispatch", &IID_IDispatch};
template <>
inline constexpr HostInterface kHostInterface<IConnectionPoint> = {"IConnectionPoint",
                                                                   &IID_IConnectionPoint};
template <>
inline constexpr HostInterface kHostInterface<IConnectionPointContainer> = {
    "IConnectionPointContainer", &IID_IConnectionPointContainer};
template <>
inline constexpr HostInterface kHostInterface<IMAPIProp> = {"IMAPIProp", &kIidMapiProp};
template <>
inline constexpr HostInterface kHostInterface<IMessage> = {"IMessage", &kIidMessage};
template <>
inline constexpr HostInterface kHostInterface<_Application> = {"_Application",
                                                               &outlookaddin::IID__Application};
template <>
inline constexpr HostInterface kHostInterface<_Explorers> = {"_Explorers",
                                                             &outlookaddin::IID__Explorers};
template <>
inline constexpr HostInterface kHostInterface<_Explorer> = {"_Explorer",
                                                            &outlookaddin::IID__Explorer};
template <>
inline constexpr HostInterface kHostInterface<_Inspectors> = {"_Inspectors",
                                                              &outlookaddin::IID__Inspectors};
template <>
inline constexpr HostInterface kHostInterface<_Inspector> = {"_Inspector",
                                                             &outlookaddin::IID__Inspector};
template <>
inline constexpr HostInterface kHostInterface<_MailItem> = {"_MailItem",
                                                            &outlookaddin::IID__MailItem};
template <>
inline constexpr HostInterface kHostInterface<Recipients> = {"Recipients",
                                                             &outlookaddin::IID_Recipients};
template <>
inline constexpr HostInterface kHostInterface<Recipient> = {"Recipient",
                                                            &outlookaddin::IID_Recipient};
template <>
inline constexpr HostInterface kHostInterface<AddressEntry> = {"AddressEntry",
                                                               &outlookaddin::IID_AddressEntry};
template <>
inline constexpr HostInterface kHostInterface<AddressEntries> = {"AddressEntries",
                                                                 &outlookaddin::IID_AddressEntries};
template <>
inline constexpr HostInterface kHostInterface<_Account> = {"_Account", &outlookaddin::IID__Account};
template <>
inline constexpr HostInterface kHostInterface<_NameSpace> = {"_NameSpace",
                                                             &outlookaddin::IID__NameSpace};
template <>
inline constexpr HostInterface kHostInterface<Attachments> = {"Attachments",
                                                              &outlookaddin::IID_Attachments};
template <>
inline constexpr HostInterface kHostInterface<Attachment> = {"Attachment",
                                                             &outlookaddin::IID_Attachment};

// An object that has `Interfaces` and IUnknown. Its identity is the first one's. IDispatch in front
// of a dual interface is not listed: HostDispatch adds it.
template <typename Object, typename First, typename... Others>
class HostObject : public First, public Others..., public HostObjectBase {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (IsEqualGUID(iid, IID_IUnknown)) {
      constexpr HostCallId kCall = QueryCall("IUnknown");
      return GiveInterface<First>(kCall, object);
    }
    if constexpr (std::is_base_of_v<IDispatch, First>) {
      if (IsEqualGUID(iid, IID_IDispatch)) {
        constexpr HostCallId kCall = QueryCall("IDispatch");
        return GiveInterface<First>(kCall, object);
      }
    }
    if constexpr (std::is_base_of_v<IMAPIProp, First>) {
      if (IsEqualGUID(iid, kIidMapiProp)) {
        constexpr HostCallId kCall = QueryCall("IMAPIProp");
        return GiveInterface<First>(kCall, object);
      }
    }
    HRESULT result = E_NOINTERFACE;
    const bool found = (TryInterface<First>(iid, object, &result) || ... ||
                        TryInterface<Others>(iid, object, &result));
    if (found) return result;
    constexpr HostCallId kCall = QueryCall("other");
    return Answer(kCall, object, [] { return E_NOINTERFACE; });
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return TakeReference(); }
  ULONG STDMETHODCALLTYPE Release() override { return DropReference(); }

  // What asking for IUnknown gives, without a reference: an object with several interfaces is an
  // IUnknown several times over.
  IUnknown* Identity() { return static_cast<First*>(this); }

 protected:
  using HostObjectBase::HostObjectBase;

 private:
  // The names are looked up while compiling.
  static constexpr HostCallId QueryCall(std::string_view asked) {
    return {Object::kHostClass, "::QueryInterface(", asked, ")"};
  }

  template <typename Interface>
  HRESULT GiveInterface(HostCallId call, void** object) {
    return Answer(call, object, [&] {
      TakeReference();
      *object = static_cast<Interface*>(this);
      return S_OK;
    });
  }

  template <typename Interface>
  bool TryInterface(REFIID iid, void** object, HRESULT* result) {
    // An object that is nothing but an IDispatch was answered before.
    if constexpr (!std::is_same_v<Interface, IDispatch>) {
      if (IsEqualGUID(iid, *kHostInterface<Interface>.iid)) {
        constexpr HostCallId kCall = QueryCall(kHostInterface<Interface>.name);
        *result = GiveInterface<Interface>(kCall, object);
        return true;
      }
    }
    return false;
  }
};

// The same for a dual interface. The add-in calls members by their slots, never by name or number.
template <typename Object, typename First, typename... Others>
class HostDispatch : public HostObject<Object, First, Others...> {
 public:
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override {
    Trap(Object::kHostClass, "GetTypeInfoCount");
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override {
    Trap(Object::kHostClass, "GetTypeInfo");
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    Trap(Object::kHostClass, "GetIDsOfNames");
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    Trap(Object::kHostClass, "Invoke");
  }

 protected:
  using HostObject<Object, First, Others...>::HostObject;
};

// The place that a collection's index names, counted from 0. Collections take a VT_I4 counted from
// 1 and nothing else.
HRESULT ReadIndex(const VARIANT& index, std::size_t count, std::size_t* place);

}  // namespace simulation::host
