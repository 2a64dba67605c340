// The base of every object of the simulated host: reference counts in a ledger, QueryInterface for
// a list of interfaces, and calls that go through the journal.
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
// Create it with HostRef<HostThing>::Make(core, ...). It lives until its last reference is
// released.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <map>
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

// Shared by all objects of one host. Lives as long as the last of them.
struct HostCore {
  HostLedger ledger;
  HostCalls calls;
  std::string versionText;
  // The number before the version text's first dot. 0 if there is no number, which means the newest
  // version.
  int majorVersion = 0;
  // The message store's table of named properties: the one at index n has the id 0x8000 + n.
  std::vector<HostPropertyName> propertyNames;
};

using HostCorePointer = std::shared_ptr<HostCore>;

// Ends the process: the add-in called a member that it has no reason to call.
[[noreturn]] inline void Trap(std::string_view hostClass, std::string_view member) {
  std::fprintf(stderr, "simulated host: %.*s::%.*s must not be called\n",
               static_cast<int>(hostClass.size()), hostClass.data(),
               static_cast<int>(member.size()), member.data());
  std::abort();
}

// Returns a new string with the whole text in `place`. The caller frees it.
HRESULT GiveWideText(platform::WideStringView text, BSTR* place);

// Reference counts and the ledger entry. A new object has no reference; HostRef takes the first.
class HostObjectBase {
 public:
  HostObjectBase(const HostObjectBase&) = delete;
  HostObjectBase& operator=(const HostObjectBase&) = delete;

  // The interface, and something to recognise this object by. Readable, not unique.
  virtual std::string Label() const = 0;

  ULONG References() const { return m_references; }
  ULONG HostReferences() const { return m_hostReferences; }
  // The references that the add-in got and hasn't released.
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

  // For members that a later version of the host added. Ends the process on an older version, which
  // doesn't have that slot.
  void NeedVersion(int version, std::string_view hostClass, std::string_view member) const {
    if (m_core->majorVersion != 0 && m_core->majorVersion < version) Trap(hostClass, member);
  }

  // Answers a call that returns one value through `place`: notes it in the journal, applies a
  // fault, does the work. A null `place` gives E_POINTER.
  template <typename Out, typename Work>
  HRESULT Answer(std::string_view call, Out* place, Work work) {
    const HostCorePointer core = m_core;  // events inside the call may end this object
    const HostCalls::Call current(core->calls, call);
    const std::optional<HostFault>& fault = current.Fault();
    if (place == nullptr) return E_POINTER;
    // A failing call leaves a number as the caller had it, and sets a pointer to null.
    if (std::is_pointer_v<Out> || (fault && fault->result == S_OK)) *place = Out{};
    if (fault && !fault->DoesTheWork()) return fault->result;
    const HRESULT result = work();
    return fault ? fault->result : result;
  }

  // The same for a call that returns nothing but its result.
  template <typename Work>
  HRESULT Answer(std::string_view call, Work work) {
    const HostCorePointer core = m_core;
    const HostCalls::Call current(core->calls, call);
    const std::optional<HostFault>& fault = current.Fault();
    if (fault && !fault->DoesTheWork()) return fault->result;
    const HRESULT result = work();
    return fault ? fault->result : result;
  }

  // Returns a text through `place`; null if it is absent.
  static HRESULT GiveText(const std::optional<platform::WideString>& text, BSTR* place) {
    return text ? GiveWideText(*text, place) : S_OK;
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

// One of the host's own references.
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

  // Returns a reference to the add-in through `place`.
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

// An interface's name and id, for QueryInterface.
struct HostInterface {
  std::string_view name;
  const IID* iid;
};
template <typename Interface>
inline constexpr HostInterface kHostInterface = {};
template <>
inline constexpr HostInterface kHostInterface<IUnknown> = {"IUnknown", &IID_IUnknown};
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

// An object with IUnknown and the interfaces listed. Its identity is the first one's. If that is a
// dual interface it also answers for IDispatch.
template <typename Object, typename First, typename... Others>
class HostObject : public First, public Others..., public HostObjectBase {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    HRESULT result = E_NOINTERFACE;
    bool found = TryInterface<First>(kHostInterface<IUnknown>, iid, object, &result);
    if constexpr (std::is_base_of_v<IDispatch, First>) {
      found = found || TryInterface<First>(kHostInterface<IDispatch>, iid, object, &result);
    }
    if constexpr (std::is_base_of_v<IMAPIProp, First>) {
      found = found || TryInterface<First>(kHostInterface<IMAPIProp>, iid, object, &result);
    }
    found = found || TryInterface<First>(kHostInterface<First>, iid, object, &result);
    found = found ||
            (TryInterface<Others>(kHostInterface<Others>, iid, object, &result) || ... || false);
    if (found) return result;
    return Answer(QueryCall("other"), object, [] { return E_NOINTERFACE; });
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return TakeReference(); }
  ULONG STDMETHODCALLTYPE Release() override { return DropReference(); }

  // The object's identity, the same pointer that QueryInterface(IUnknown) returns, without a new
  // reference. A cast would be ambiguous, since each interface has its own IUnknown.
  IUnknown* Identity() { return static_cast<First*>(this); }

 protected:
  using HostObjectBase::HostObjectBase;

 private:
  // Built once for each interface, so that later queries allocate nothing, like those of a real
  // host.
  static const std::string& QueryCall(std::string_view asked) {
    static std::map<std::string_view, std::string> s_calls;
    std::string& call = s_calls[asked];
    if (call.empty()) {
      call = std::string(Object::kHostClass).append("::QueryInterface(").append(asked).append(")");
    }
    return call;
  }

  // If `iid` is `asked`'s, answers with this object as an `Interface`.
  template <typename Interface>
  bool TryInterface(const HostInterface& asked, REFIID iid, void** object, HRESULT* result) {
    if (!IsEqualGUID(iid, *asked.iid)) return false;
    *result = Answer(QueryCall(asked.name), object, [&] {
      TakeReference();
      *object = static_cast<Interface*>(this);
      return S_OK;
    });
    return true;
  }
};

// The same for a dual interface. The add-in calls members through their slots, never by name or id.
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

// Converts a collection's index, a VT_I4 that counts from 1, into a position that counts from 0.
// Any other type is DISP_E_TYPEMISMATCH, any other number DISP_E_BADINDEX.
HRESULT ReadIndex(const VARIANT& index, std::size_t count, std::size_t* place);

}  // namespace simulation::host
