// MAPI's objects, as far as tagging a mail touches them: the SDK's declarations on Windows, the
// same layouts elsewhere.
#pragma once

#include "platform/com/comtypes.h"

#if defined(_WIN32)

#include <mapidefs.h>
#include <mapitags.h>

#else

constexpr ULONG PT_UNICODE = 0x001F;
constexpr ULONG MNID_STRING = 1;
constexpr ULONG MAPI_CREATE = 2;

struct MAPINAMEID {
  GUID* lpguid;
  ULONG ulKind;
  union {
    LONG lID;
    OLECHAR* lpwstrName;
  } Kind;
};

struct SPropTagArray {
  ULONG cValues;
  ULONG aulPropTag[1];
};

struct SPropValue {
  ULONG ulPropTag;
  ULONG dwAlignPad;
  union {
    LONG l;
    OLECHAR* lpszW;
    std::int64_t li;  // keeps the union at its 8 bytes
    struct {
      ULONG cb;
      BYTE* lpb;
    } bin;
  } Value;
};

struct SPropProblemArray;
struct MAPIERROR;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

struct IMAPIProp : IUnknown {
  virtual HRESULT GetLastError(HRESULT error, ULONG flags, MAPIERROR** result) = 0;
  virtual HRESULT SaveChanges(ULONG flags) = 0;
  virtual HRESULT GetProps(SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) = 0;
  virtual HRESULT GetPropList(ULONG flags, SPropTagArray** tags) = 0;
  virtual HRESULT OpenProperty(ULONG tag, const IID* iid, ULONG options, ULONG flags,
                               IUnknown** object) = 0;
  virtual HRESULT SetProps(ULONG count, SPropValue* values, SPropProblemArray** problems) = 0;
  virtual HRESULT DeleteProps(SPropTagArray* tags, SPropProblemArray** problems) = 0;
  virtual HRESULT CopyTo(ULONG excludedCount, const IID* excluded, SPropTagArray* excludedTags,
                         std::uintptr_t uiParameter, void* progress, const IID* iid,
                         void* destination, ULONG flags, SPropProblemArray** problems) = 0;
  virtual HRESULT CopyProps(SPropTagArray* included, std::uintptr_t uiParameter, void* progress,
                            const IID* iid, void* destination, ULONG flags,
                            SPropProblemArray** problems) = 0;
  virtual HRESULT GetNamesFromIDs(SPropTagArray** tags, GUID* propertySet, ULONG flags,
                                  ULONG* count, MAPINAMEID*** names) = 0;
  virtual HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                  SPropTagArray** tags) = 0;
};

struct IMessage : IMAPIProp {
  virtual HRESULT GetAttachmentTable(ULONG flags, void** table) = 0;
  virtual HRESULT OpenAttach(ULONG number, const IID* iid, ULONG flags, void** attach) = 0;
  virtual HRESULT CreateAttach(const IID* iid, ULONG flags, ULONG* number, void** attach) = 0;
  virtual HRESULT DeleteAttach(ULONG number, std::uintptr_t uiParameter, void* progress,
                               ULONG flags) = 0;
  virtual HRESULT GetRecipientTable(ULONG flags, void** table) = 0;
  virtual HRESULT ModifyRecipients(ULONG flags, void* recipients) = 0;
  virtual HRESULT SubmitMessage(ULONG flags) = 0;
  virtual HRESULT SetReadFlag(ULONG flags) = 0;
};

#pragma GCC diagnostic pop

#endif

// The ids that tagging asks for; the SDK only declares them.
inline constexpr IID kIidMessage = {0x00020307, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIidMapiProp = {0x00020303, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID kPsInternetHeaders = {0x00020386, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
