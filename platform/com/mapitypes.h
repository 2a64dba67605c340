// The MAPI types that tagging needs: the SDK's declarations on Windows, the same layouts on POSIX.
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
    std::int64_t li;  // makes the union 8 bytes
    struct {
      ULONG cb;
      BYTE* lpb;
    } bin;
  } Value;
};

struct SPropProblemArray;
struct MAPIERROR;
struct IMAPIProgress;
struct IMAPITable;
struct IAttach;
struct ADRLIST;

using LPVOID = void*;
using LPGUID = GUID*;
using LPCIID = const IID*;
using LPUNKNOWN = IUnknown*;
using LPMAPIERROR = MAPIERROR*;
using LPMAPINAMEID = MAPINAMEID*;
using LPSPropTagArray = SPropTagArray*;
using LPSPropValue = SPropValue*;
using LPSPropProblemArray = SPropProblemArray*;
using LPMAPIPROGRESS = IMAPIProgress*;
using LPMAPITABLE = IMAPITable*;
using LPATTACH = IAttach*;
using LPADRLIST = ADRLIST*;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The parameters have the same types as in the SDK headers, so an implementation overrides them in
// every build.
struct IMAPIProp : IUnknown {
  virtual HRESULT GetLastError(HRESULT error, ULONG flags, LPMAPIERROR* result) = 0;
  virtual HRESULT SaveChanges(ULONG flags) = 0;
  virtual HRESULT GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                           LPSPropValue* values) = 0;
  virtual HRESULT GetPropList(ULONG flags, LPSPropTagArray* tags) = 0;
  virtual HRESULT OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                               LPUNKNOWN* object) = 0;
  virtual HRESULT SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) = 0;
  virtual HRESULT DeleteProps(LPSPropTagArray tags, LPSPropProblemArray* problems) = 0;
  virtual HRESULT CopyTo(ULONG excludedCount, LPCIID excluded, LPSPropTagArray excludedTags,
                         ULONG uiParameter, LPMAPIPROGRESS progress, LPCIID iid, LPVOID destination,
                         ULONG flags, LPSPropProblemArray* problems) = 0;
  virtual HRESULT CopyProps(LPSPropTagArray included, ULONG uiParameter, LPMAPIPROGRESS progress,
                            LPCIID iid, LPVOID destination, ULONG flags,
                            LPSPropProblemArray* problems) = 0;
  virtual HRESULT GetNamesFromIDs(LPSPropTagArray* tags, LPGUID propertySet, ULONG flags,
                                  ULONG* count, LPMAPINAMEID** names) = 0;
  virtual HRESULT GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                  LPSPropTagArray* tags) = 0;
};

struct IMessage : IMAPIProp {
  virtual HRESULT GetAttachmentTable(ULONG flags, LPMAPITABLE* table) = 0;
  virtual HRESULT OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH* attach) = 0;
  virtual HRESULT CreateAttach(LPCIID iid, ULONG flags, ULONG* number, LPATTACH* attach) = 0;
  virtual HRESULT DeleteAttach(ULONG number, ULONG uiParameter, LPMAPIPROGRESS progress,
                               ULONG flags) = 0;
  virtual HRESULT GetRecipientTable(ULONG flags, LPMAPITABLE* table) = 0;
  virtual HRESULT ModifyRecipients(ULONG flags, LPADRLIST recipients) = 0;
  virtual HRESULT SubmitMessage(ULONG flags) = 0;
  virtual HRESULT SetReadFlag(ULONG flags) = 0;
};

#pragma GCC diagnostic pop

#endif

// The ids that tagging needs. The SDK declares them but doesn't define them.
inline constexpr IID kIidMessage = {0x00020307, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID kIidMapiProp = {0x00020303, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID kPsInternetHeaders = {0x00020386, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
