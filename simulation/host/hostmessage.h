// A mail's MAPI object. It supports ids for named properties and setting them, nothing else.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulation/host/hostobject.h"

namespace simulation::host {

// One named property of a mail. Texts are UTF-8.
struct HostNamedProperty {
  GUID propertySet;
  std::string name;
  ULONG tag;  // id and type
  std::string value;
};

class HostMessage final : public HostObject<HostMessage, IMessage> {
 public:
  static constexpr std::string_view kHostClass = "IMessage";

  HostMessage(HostCorePointer core, std::string owner);

  // In the order of their tags, each with its latest value.
  std::vector<HostNamedProperty> NamedProperties() const;

  // Takes names of the kind MNID_STRING and returns tags with the type PT_UNSPECIFIED. MAPI_CREATE
  // gives an unknown name an id; without that flag its tag is PT_ERROR and the result is
  // MAPI_W_ERRORS_RETURNED. The array lives as long as this object, because the add-in doesn't free
  // it.
  HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                            LPSPropTagArray* tags) override;
  // Takes values of the type PT_UNICODE. With any other type it sets nothing and returns
  // E_INVALIDARG.
  HRESULT STDMETHODCALLTYPE SetProps(ULONG count, LPSPropValue values,
                                     LPSPropProblemArray* problems) override;
  std::string Label() const override;

  // The rest of the interface, which must not be called: these end the process.
  HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, LPMAPIERROR*) override;
  HRESULT STDMETHODCALLTYPE SaveChanges(ULONG) override;
  HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray, ULONG, ULONG*, LPSPropValue*) override;
  HRESULT STDMETHODCALLTYPE GetPropList(ULONG, LPSPropTagArray*) override;
  HRESULT STDMETHODCALLTYPE OpenProperty(ULONG, LPCIID, ULONG, ULONG, LPUNKNOWN*) override;
  HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray, LPSPropProblemArray*) override;
  HRESULT STDMETHODCALLTYPE CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID,
                                   LPVOID, ULONG, LPSPropProblemArray*) override;
  HRESULT STDMETHODCALLTYPE CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                                      LPSPropProblemArray*) override;
  HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray*, LPGUID, ULONG, ULONG*,
                                            LPMAPINAMEID**) override;
  HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG, LPMAPITABLE*) override;
  HRESULT STDMETHODCALLTYPE OpenAttach(ULONG, LPCIID, ULONG, LPATTACH*) override;
  HRESULT STDMETHODCALLTYPE CreateAttach(LPCIID, ULONG, ULONG*, LPATTACH*) override;
  HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG, ULONG, LPMAPIPROGRESS, ULONG) override;
  HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG, LPMAPITABLE*) override;
  HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG, LPADRLIST) override;
  HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG) override;
  HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG) override;

 private:
  std::string m_owner;
  std::map<ULONG, platform::WideString> m_properties;
  std::vector<std::unique_ptr<ULONG[]>> m_tagArrays;
};

}  // namespace simulation::host
