// The tag on a sensitive mail: a named property in the internet headers set, which the mail carries
// as a header when it goes out.
#include <string>

#include "agent/outlookaddin/dlpmailevent.h"
#include "config/profilereader.h"
#include "logging/vrklogger.h"
#include "platform/com/mapitypes.h"
#include "platform/mapi.h"
#include "text/textconversion.h"

using platform::WideString;

namespace {

constexpr const char* kNameKey = "x_name";
constexpr const char* kValueKey = "x_value";

// The lower half of a property tag is its type.
constexpr ULONG kIdentifierMask = 0xFFFF0000;

struct Header {
  WideString name = QV_WIDE("QV_DLP_TAGGING");
  WideString value = QV_WIDE("The message is sensitive");
};

// An absent or empty value keeps the default. A value that isn't UTF-8 converts to an empty text,
// which replaces the default.
void ReplaceIfSet(const ProfileMap& profile, const char* key, WideString* text) {
  const auto found = profile.find(key);
  if (found != profile.end() && !found->second.empty()) *text = Utf8ToWide(found->second);
}

Header ReadHeader(const std::string& profilePath) {
  Header header;
  ProfileMap profile = {{kNameKey, ""}, {kValueKey, ""}};
  if (!ProfileReader(profilePath, profile)) {
    g_logger.Log(kLogModule, kLogErr, "Get x-header fail, use default value");
    return header;
  }
  ReplaceIfSet(profile, kNameKey, &header.name);
  ReplaceIfSet(profile, kValueKey, &header.value);
  return header;
}

// The properties of the mail's message, or null. The references to the object, the message and the
// properties are left on purpose, on success and on failure: each tagged mail keeps them for the
// rest of the process.
IMAPIProp* OpenProperties(_MailItem* item) {
  IUnknown* object = nullptr;
  if (item->get_MAPIOBJECT(&object) != S_OK || object == nullptr) return nullptr;
  void* message = nullptr;
  if (object->QueryInterface(kIidMessage, &message) != S_OK || message == nullptr) {
    g_logger.Log(kLogModule, kLogErr, "QueryInterface failed on IUnknown for IID_Message");
    return nullptr;
  }
  void* properties = nullptr;
  if (static_cast<IMessage*>(message)->QueryInterface(kIidMapiProp, &properties) != S_OK) {
    g_logger.Log(kLogModule, kLogErr, "QueryInterface failed on IMessage for IID_IMAPIProp");
    return nullptr;
  }
  if (properties == nullptr) {
    g_logger.Log(kLogModule, kLogErr, "Unknown Error on receiving the Pointer to MAPI Properties.");
  }
  return static_cast<IMAPIProp*>(properties);
}

// The message store's property tag for a header name, or 0 on failure. The store makes a tag for a
// name that it doesn't know. The name's buffer and the tag array are left on purpose: freeing them
// would need a third function of the host's MAPI library.
ULONG TagOfHeader(IMAPIProp* properties, GUID* propertySet, WideString& headerName) {
  void* memory = nullptr;
  if (platform::mapi.MAPIAllocateBuffer(sizeof(MAPINAMEID), &memory) != 0 || memory == nullptr) {
    g_logger.Log(kLogModule, kLogErr, "Could not allocate memory buffer.");
    return 0;
  }
  MAPINAMEID* name = static_cast<MAPINAMEID*>(memory);
  name->lpguid = propertySet;
  name->ulKind = MNID_STRING;
  name->Kind.lpwstrName = headerName.data();
  SPropTagArray* tags = nullptr;
  // A warning is a failure too: the name got no tag.
  if (properties->GetIDsFromNames(1, &name, MAPI_CREATE, &tags) != S_OK || tags == nullptr) {
    g_logger.Log(kLogModule, kLogErr, "Error retrieving GetIDsFromNames.");
    return 0;
  }
  return (tags->aulPropTag[0] & kIdentifierMask) | PT_UNICODE;
}

}  // namespace

bool DlpMailEvent::TagSensitiveMail() {
  Header header = ReadHeader(m_strProfilePath);
  IMAPIProp* const properties = OpenProperties(m_pMailItem);
  if (properties == nullptr) return false;

  GUID propertySet = kPsInternetHeaders;
  SPropValue value = {};
  value.ulPropTag = TagOfHeader(properties, &propertySet, header.name);
  if (value.ulPropTag == 0) return false;
  value.Value.lpszW = header.value.data();
  // The mail isn't saved: the property goes out with the send that follows.
  if (platform::mapi.HrSetOneProp(properties, &value) != S_OK) {
    g_logger.Log(kLogModule, kLogErr, "rolo_dbg Error setting Header.");
    return false;
  }
  return true;
}
