// Shared by the tests of the simulated host: smart pointers for its results, and a sink that
// records its calls.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/outlookaddin/extensibility.h"
#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/bstr.h"
#include "platform/com/comptr.h"
#include "platform/com/comtypes.h"
#include "simulation/mail/mailmodel.h"
#include "text/textconversion.h"

namespace simulation::host {

inline VARIANT Index(LONG number) {
  VARIANT index = {};
  index.vt = VT_I4;
  index.lVal = number;
  return index;
}

// A getter's text in UTF-8; "(null)" for null.
inline std::string Text(const platform::Bstr& text) {
  return text ? WideToUtf8(text.View()) : "(null)";
}

// Calls the function in a slot of an interface's vtable, as a compiled caller does.
template <typename... Arguments>
HRESULT CallSlot(void* object, std::size_t slot, Arguments... arguments) {
  using Function = HRESULT(STDMETHODCALLTYPE*)(void*, Arguments...);
  void** const table = *static_cast<void***>(object);
  return reinterpret_cast<Function>(table[slot])(object, arguments...);
}

// Records the events that it receives and counts its references. Like every sink it has to outlive
// its source or unsubscribe: declare it before the host.
class RecordingSink : public IDispatch {
 public:
  explicit RecordingSink(const IID& eventInterface) : m_eventInterface(eventInterface) {}

  struct Event {
    DISPID dispid;
    bool noInterface;
    WORD flags;
    std::vector<VARIANTARG> arguments;  // in the order they were passed: last one first
    UINT namedArguments;
  };

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (!IsEqualGUID(iid, m_eventInterface)) return E_NOINTERFACE;
    *object = static_cast<IDispatch*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID reserved, LCID, WORD flags,
                                   DISPPARAMS* parameters, VARIANT*, EXCEPINFO*, UINT*) override {
    events.push_back({member,
                      IsEqualGUID(reserved, IID{}) != 0,
                      flags,
                      {parameters->rgvarg, parameters->rgvarg + parameters->cArgs},
                      parameters->cNamedArgs});
    OnEvent(parameters);
    return result;
  }

  ULONG References() const { return m_references; }

  std::vector<Event> events;
  HRESULT result = S_OK;  // what Invoke returns

 protected:
  virtual void OnEvent(DISPPARAMS*) {}

 private:
  IID m_eventInterface;
  ULONG m_references = 1;
};

// Gets a source's connection point for an event interface, as an add-in does.
inline platform::ComPtr<IConnectionPoint> FindPoint(IUnknown* source, const IID& events) {
  platform::ComPtr<IConnectionPointContainer> container;
  platform::QueryFor(source, IID_IConnectionPointContainer, &container);
  platform::ComPtr<IConnectionPoint> point;
  if (container) container->FindConnectionPoint(events, point.Put());
  return point;
}

// Subscribes a sink and returns the cookie; 0 on failure.
inline DWORD Subscribe(IUnknown* source, const IID& events, IUnknown* sink) {
  const platform::ComPtr<IConnectionPoint> point = FindPoint(source, events);
  DWORD cookie = 0;
  if (point) point->Advise(sink, &cookie);
  return cookie;
}

inline mail::MailModel MailWithSubject(std::string subject) {
  mail::MailModel model;
  model.subject = std::move(subject);
  return model;
}

inline std::shared_ptr<mail::MailAddressEntry> Person(std::string address) {
  auto entry = std::make_shared<mail::MailAddressEntry>();
  entry->address = std::move(address);
  return entry;
}

inline std::shared_ptr<mail::MailAddressEntry> PersonalList(
    std::string id, std::vector<std::shared_ptr<mail::MailAddressEntry>> members) {
  auto entry = std::make_shared<mail::MailAddressEntry>();
  entry->displayType = outlookaddin::olPrivateDistList;
  entry->id = std::move(id);
  entry->members = std::move(members);
  return entry;
}

}  // namespace simulation::host
