// The Automation services that a COM server needs: type libraries and their registration, the
// thread's locale and the global interface table.
//
// POSIX has no type libraries: loading one fails with TYPE_E_LIBNOTREGISTERED unless a test
// replaces it.
#pragma once

#include "platform/com/comtypes.h"
#include "platform/widetext.h"

#if !defined(_WIN32)

enum SYSKIND : std::uint32_t { SYS_WIN32 = 1, SYS_WIN64 = 3 };

struct TLIBATTR {
  GUID guid;
  LCID lcid;
  SYSKIND syskind;
  WORD wMajorVerNum;
  WORD wMinorVerNum;
  WORD wLibFlags;
};

struct TYPEATTR;
struct FUNCDESC;
struct VARDESC;
struct ITypeComp;
struct ITypeLib;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

struct ITypeInfo : IUnknown {
  virtual HRESULT GetTypeAttr(TYPEATTR** attributes) = 0;
  virtual HRESULT GetTypeComp(ITypeComp** component) = 0;
  virtual HRESULT GetFuncDesc(UINT index, FUNCDESC** description) = 0;
  virtual HRESULT GetVarDesc(UINT index, VARDESC** description) = 0;
  virtual HRESULT GetNames(DISPID member, BSTR* names, UINT capacity, UINT* count) = 0;
  virtual HRESULT GetRefTypeOfImplType(UINT index, DWORD* type) = 0;
  virtual HRESULT GetImplTypeFlags(UINT index, int* flags) = 0;
  virtual HRESULT GetIDsOfNames(LPOLESTR* names, UINT count, DISPID* dispids) = 0;
  virtual HRESULT Invoke(void* instance, DISPID member, WORD flags, DISPPARAMS* parameters,
                         VARIANT* result, EXCEPINFO* exception, UINT* argumentError) = 0;
  virtual HRESULT GetDocumentation(DISPID member, BSTR* name, BSTR* text, DWORD* helpContext,
                                   BSTR* helpFile) = 0;
  virtual HRESULT GetDllEntry(DISPID member, int kind, BSTR* library, BSTR* name,
                              WORD* ordinal) = 0;
  virtual HRESULT GetRefTypeInfo(DWORD type, ITypeInfo** info) = 0;
  virtual HRESULT AddressOfMember(DISPID member, int kind, void** address) = 0;
  virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
  virtual HRESULT GetMops(DISPID member, BSTR* text) = 0;
  virtual HRESULT GetContainingTypeLib(ITypeLib** library, UINT* index) = 0;
  virtual void ReleaseTypeAttr(TYPEATTR* attributes) = 0;
  virtual void ReleaseFuncDesc(FUNCDESC* description) = 0;
  virtual void ReleaseVarDesc(VARDESC* description) = 0;
};

struct ITypeLib : IUnknown {
  virtual UINT GetTypeInfoCount() = 0;
  virtual HRESULT GetTypeInfo(UINT index, ITypeInfo** info) = 0;
  virtual HRESULT GetTypeInfoType(UINT index, int* kind) = 0;
  virtual HRESULT GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** info) = 0;
  virtual HRESULT GetLibAttr(TLIBATTR** attributes) = 0;
  virtual HRESULT GetTypeComp(ITypeComp** component) = 0;
  virtual HRESULT GetDocumentation(int index, BSTR* name, BSTR* text, DWORD* helpContext,
                                   BSTR* helpFile) = 0;
  virtual HRESULT IsName(LPOLESTR name, ULONG hash, BOOL* isName) = 0;
  virtual HRESULT FindName(LPOLESTR name, ULONG hash, ITypeInfo** infos, DISPID* members,
                           USHORT* count) = 0;
  virtual void ReleaseTLibAttr(TLIBATTR* attributes) = 0;
};

// Only the slots of IUnknown are called here.
struct IGlobalInterfaceTable : IUnknown {};

#pragma GCC diagnostic pop

#endif

namespace platform {

// LOCALE_SYSTEM_DEFAULT.
inline constexpr LCID kSystemDefaultLocale = 0x0800;

// Paths are NUL-terminated. The caller releases the libraries that it gets.
struct AutomationOperations {
  HRESULT(*LoadRegTypeLib)
  (REFGUID library, WORD major, WORD minor, LCID locale, ITypeLib** result);
  // Loads from a file, or from the first type library in a module's resources. Registers nothing.
  HRESULT (*LoadTypeLib)(const WideChar* path, ITypeLib** result);

  // For all users, or with the second of each pair for the current user only.
  HRESULT (*RegisterTypeLib)(ITypeLib* library, const WideChar* path, const WideChar* helpFolder);
  HRESULT(*RegisterTypeLibForUser)
  (ITypeLib* library, const WideChar* path, const WideChar* helpFolder);
  HRESULT (*UnRegisterTypeLib)(REFGUID library, WORD major, WORD minor, LCID locale, SYSKIND kind);
  HRESULT(*UnRegisterTypeLibForUser)
  (REFGUID library, WORD major, WORD minor, LCID locale, SYSKIND kind);

  // The calling thread's locale.
  LCID (*GetThreadLocale)();
  bool (*SetThreadLocale)(LCID locale);

  // The process-wide table of interfaces that other apartments may use.
  HRESULT (*CreateGlobalInterfaceTable)(IGlobalInterfaceTable** table);
};

extern constinit AutomationOperations automation;

}  // namespace platform
