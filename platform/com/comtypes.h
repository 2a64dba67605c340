// COM's binary interface: interfaces, Automation types, result codes.
//
// On Windows these come from the SDK headers. On POSIX this header declares the same types with the
// same names and layouts, as far as they are used, and platform/posix implements the functions.
// Other code includes this header and never an SDK header.
#pragma once

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <objbase.h>
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>
#include <windows.h>

#else

#include <cstdint>

#define STDMETHODCALLTYPE
#define STDAPICALLTYPE

using HRESULT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using BYTE = std::uint8_t;
using BOOL = std::int32_t;
using LCID = std::uint32_t;
using DISPID = std::int32_t;
using OLECHAR = char16_t;
using BSTR = OLECHAR*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
using SCODE = std::int32_t;
using HMODULE = void*;
using HINSTANCE = void*;

constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT DISP_E_MEMBERNOTFOUND = static_cast<HRESULT>(0x80020003);
constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005);
constexpr HRESULT DISP_E_UNKNOWNNAME = static_cast<HRESULT>(0x80020006);
constexpr HRESULT DISP_E_BADVARTYPE = static_cast<HRESULT>(0x80020008);
constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000B);
constexpr HRESULT DISP_E_BADPARAMCOUNT = static_cast<HRESULT>(0x8002000E);
constexpr HRESULT TYPE_E_LIBNOTREGISTERED = static_cast<HRESULT>(0x8002801D);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111);
constexpr HRESULT CONNECT_E_NOCONNECTION = static_cast<HRESULT>(0x80040200);
constexpr HRESULT CONNECT_E_ADVISELIMIT = static_cast<HRESULT>(0x80040201);
constexpr HRESULT CONNECT_E_CANNOTCONNECT = static_cast<HRESULT>(0x80040202);

constexpr bool SUCCEEDED(HRESULT result) {
  return result >= 0;
}
constexpr bool FAILED(HRESULT result) {
  return result < 0;
}

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool operator==(const GUID& left, const GUID& right) {
  return __builtin_memcmp(&left, &right, sizeof(GUID)) == 0;
}
inline bool operator!=(const GUID& left, const GUID& right) {
  return !(left == right);
}
inline bool IsEqualGUID(REFGUID left, REFGUID right) {
  return left == right;
}

inline constexpr GUID GUID_NULL = {};
inline constexpr IID IID_IUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory = {1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IDispatch = {0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IConnectionPointContainer = {
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr IID IID_IConnectionPoint = {
    0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};

enum VARENUM : std::uint16_t {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_BSTR = 8,
  VT_DISPATCH = 9,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_VARIANT = 12,
  VT_UNKNOWN = 13,
  VT_ARRAY = 0x2000,
  VT_BYREF = 0x4000,
};

enum CALLCONV { CC_CDECL = 1, CC_STDCALL = 4 };

struct IUnknown;
struct IDispatch;
struct ITypeInfo;
struct SAFEARRAY;
struct EXCEPINFO;
struct IEnumConnectionPoints;
struct IEnumConnections;

struct VARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    LONG lVal;
    SHORT iVal;
    VARIANT_BOOL boolVal;
    SCODE scode;
    BSTR bstrVal;
    IUnknown* punkVal;
    IDispatch* pdispVal;
    VARIANT_BOOL* pboolVal;
    LONG* plVal;
    VARIANT* pvarVal;
    SAFEARRAY* parray;
    void* byref;
    void* record[2];  // the size of the widest member in the SDK
  };
};
using VARIANTARG = VARIANT;
static_assert(sizeof(VARIANT) == 8 + 2 * sizeof(void*));

struct DISPPARAMS {
  VARIANTARG* rgvarg;  // the last argument first
  DISPID* rgdispidNamedArgs;
  UINT cArgs;
  UINT cNamedArgs;
};

constexpr WORD DISPATCH_METHOD = 1;

// Only the slots of the binary interface, so no virtual destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

struct IUnknown {
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
};

struct IDispatch : IUnknown {
  virtual HRESULT GetTypeInfoCount(UINT* count) = 0;
  virtual HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) = 0;
  virtual HRESULT GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                DISPID* dispids) = 0;
  virtual HRESULT Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags,
                         DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                         UINT* argumentError) = 0;
};

struct IClassFactory : IUnknown {
  virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
  virtual HRESULT LockServer(BOOL lock) = 0;
};

struct IConnectionPointContainer;

struct IConnectionPoint : IUnknown {
  virtual HRESULT GetConnectionInterface(IID* iid) = 0;
  virtual HRESULT GetConnectionPointContainer(IConnectionPointContainer** container) = 0;
  virtual HRESULT Advise(IUnknown* sink, DWORD* cookie) = 0;
  virtual HRESULT Unadvise(DWORD cookie) = 0;
  virtual HRESULT EnumConnections(IEnumConnections** connections) = 0;
};

struct IConnectionPointContainer : IUnknown {
  virtual HRESULT EnumConnectionPoints(IEnumConnectionPoints** points) = 0;
  virtual HRESULT FindConnectionPoint(REFIID iid, IConnectionPoint** point) = 0;
};

#pragma GCC diagnostic pop

// BSTRs: counted, NUL-terminated, owned by the receiver. SysStringLen and SysFreeString treat null
// as empty.
BSTR SysAllocString(const OLECHAR* text);
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);

void VariantInit(VARIANT* variant);
HRESULT VariantClear(VARIANT* variant);

// Calls the function in the slot `vtableOffset` bytes into `instance`'s table, with the arguments
// that `argumentTypes` and `arguments` describe. For a null instance `vtableOffset` is the
// function's address, and the first argument is required. Arguments are integers and pointers, at
// most 8 besides the object; another type gives DISP_E_BADVARTYPE. The callee's result goes into
// `result` as `resultType`.
HRESULT DispCallFunc(void* instance, std::uintptr_t vtableOffset, CALLCONV convention,
                     VARTYPE resultType, UINT count, VARTYPE* argumentTypes, VARIANTARG** arguments,
                     VARIANT* result);

#endif
