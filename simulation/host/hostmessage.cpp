#include "simulation/host/hostmessage.h"

#include <algorithm>

#include "text/textconversion.h"

namespace simulation::host {
namespace {

constexpr ULONG kFirstNamedId = 0x8000;
constexpr ULONG kTypeError = 0x000A;
constexpr ULONG kTypeMask = 0xFFFF;
constexpr HRESULT kWarnErrorsReturned = 0x00040380;

// The id of a name; 0 if it has none and `create` is false.
ULONG FindId(HostCore& core, const GUID& propertySet, platform::WideStringView name, bool create) {
  auto& names = core.propertyNames;
  const auto found = std::find_if(names.begin(), names.end(), [&](const HostPropertyName& each) {
    return IsEqualGUID(each.propertySet, propertySet) && each.name == name;
  });
  if (found != names.end()) return kFirstNamedId + static_cast<ULONG>(found - names.begin());
  if (!create) return 0;
  names.push_back({propertySet, platform::WideString(name)});
  return kFirstNamedId + static_cast<ULONG>(names.size() - 1);
}

}  // namespace

HostMessage::HostMessage(HostCorePointer core, std::string owner)
    : HostObject(std::move(core)), m_owner(std::move(owner)) {}

std::vector<HostNamedProperty> HostMessage::NamedProperties() const {
  std::vector<HostNamedProperty> properties;
  for (const auto& [tag, value] : m_properties) {
    const ULONG place = (tag >> 16) - kFirstNamedId;
    if (place >= Core().propertyNames.size()) continue;
    const HostPropertyName& name = Core().propertyNames[place];
    properties.push_back({name.propertySet, WideToUtf8(name.name), tag, WideToUtf8(value)});
  }
  return properties;
}

HRESULT HostMessage::GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                     LPSPropTagArray* tags) {
  return Answer("IMessage::GetIDsFromNames", tags, [&]() -> HRESULT {
    if (count == 0 || names == nullptr) return E_INVALIDARG;
    auto array = std::make_unique<ULONG[]>(count + 1);
    array[0] = count;
    HRESULT result = S_OK;
    for (ULONG index = 0; index < count; ++index) {
      const MAPINAMEID* const name = names[index];
      if (name == nullptr || name->lpguid == nullptr || name->ulKind != MNID_STRING) {
        return E_INVALIDARG;
      }
      const ULONG id =
          FindId(Core(), *name->lpguid, name->Kind.lpwstrName, (flags & MAPI_CREATE) != 0);
      array[index + 1] = id != 0 ? id << 16 : kTypeError;
      if (id == 0) result = kWarnErrorsReturned;
    }
    m_tagArrays.push_back(std::move(array));
    *tags = reinterpret_cast<LPSPropTagArray>(m_tagArrays.back().get());
    return result;
  });
}

HRESULT HostMessage::SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) {
  if (problems != nullptr) *problems = nullptr;
  return Answer("IMessage::SetProps", [&]() -> HRESULT {
    for (ULONG index = 0; index < count; ++index) {
      if ((values[index].ulPropTag & kTypeMask) != PT_UNICODE) return E_INVALIDARG;
    }
    for (ULONG index = 0; index < count; ++index) {
      m_properties[values[index].ulPropTag] = values[index].Value.lpszW;
    }
    return S_OK;
  });
}

std::string HostMessage::Label() const {
  return "IMessage of " + m_owner;
}

HRESULT HostMessage::GetLastError(HRESULT, ULONG, LPMAPIERROR*) {
  Trap(kHostClass, "GetLastError");
}
HRESULT HostMessage::SaveChanges(ULONG) {
  Trap(kHostClass, "SaveChanges");
}
HRESULT HostMessage::GetProps(LPSPropTagArray, ULONG, ULONG*, LPSPropValue*) {
  Trap(kHostClass, "GetProps");
}
HRESULT HostMessage::GetPropList(ULONG, LPSPropTagArray*) {
  Trap(kHostClass, "GetPropList");
}
HRESULT HostMessage::OpenProperty(ULONG, LPCIID, ULONG, ULONG, LPUNKNOWN*) {
  Trap(kHostClass, "OpenProperty");
}
HRESULT HostMessage::DeleteProps(LPSPropTagArray, LPSPropProblemArray*) {
  Trap(kHostClass, "DeleteProps");
}
HRESULT HostMessage::CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID,
                            ULONG, LPSPropProblemArray*) {
  Trap(kHostClass, "CopyTo");
}
HRESULT HostMessage::CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                               LPSPropProblemArray*) {
  Trap(kHostClass, "CopyProps");
}
HRESULT HostMessage::GetNamesFromIDs(LPSPropTagArray*, LPGUID, ULONG, ULONG*, LPMAPINAMEID**) {
  Trap(kHostClass, "GetNamesFromIDs");
}
HRESULT HostMessage::GetAttachmentTable(ULONG, LPMAPITABLE*) {
  Trap(kHostClass, "GetAttachmentTable");
}
HRESULT HostMessage::OpenAttach(ULONG, LPCIID, ULONG, LPATTACH*) {
  Trap(kHostClass, "OpenAttach");
}
HRESULT HostMessage::CreateAttach(LPCIID, ULONG, ULONG*, LPATTACH*) {
  Trap(kHostClass, "CreateAttach");
}
HRESULT HostMessage::DeleteAttach(ULONG, ULONG, LPMAPIPROGRESS, ULONG) {
  Trap(kHostClass, "DeleteAttach");
}
HRESULT HostMessage::GetRecipientTable(ULONG, LPMAPITABLE*) {
  Trap(kHostClass, "GetRecipientTable");
}
HRESULT HostMessage::ModifyRecipients(ULONG, LPADRLIST) {
  Trap(kHostClass, "ModifyRecipients");
}
HRESULT HostMessage::SubmitMessage(ULONG) {
  Trap(kHostClass, "SubmitMessage");
}
HRESULT HostMessage::SetReadFlag(ULONG) {
  Trap(kHostClass, "SetReadFlag");
}

}  // namespace simulation::host
