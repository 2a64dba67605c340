#include "platform/com/automation.h"

namespace platform {
namespace {

HRESULT LoadRegistered(REFGUID library, WORD major, WORD minor, LCID locale, ITypeLib** result) {
  return LoadRegTypeLib(library, major, minor, locale, result);
}

HRESULT LoadFile(const WideChar* path, ITypeLib** result) {
  return LoadTypeLib(path, result);
}

// The system declares these paths as writable but doesn't write to them.
HRESULT RegisterForAll(ITypeLib* library, const WideChar* path, const WideChar* helpFolder) {
  return RegisterTypeLib(library, const_cast<WideChar*>(path), const_cast<WideChar*>(helpFolder));
}

HRESULT UnregisterForAll(REFGUID library, WORD major, WORD minor, LCID locale, SYSKIND kind) {
  return UnRegisterTypeLib(library, major, minor, locale, kind);
}

// Looked up by name: older versions of the library lack the per-user functions.
template <typename Function>
Function FindByName(const char* name) {
  const HMODULE library = GetModuleHandleW(L"OLEAUT32.DLL");
  if (library == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

HRESULT RegisterForUser(ITypeLib* library, const WideChar* path, const WideChar* helpFolder) {
  using Function = HRESULT(STDAPICALLTYPE*)(ITypeLib*, OLECHAR*, OLECHAR*);
  const auto function = FindByName<Function>("RegisterTypeLibForUser");
  if (function == nullptr) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  return function(library, const_cast<WideChar*>(path), const_cast<WideChar*>(helpFolder));
}

HRESULT UnregisterForUser(REFGUID library, WORD major, WORD minor, LCID locale, SYSKIND kind) {
  using Function = HRESULT(STDAPICALLTYPE*)(REFGUID, WORD, WORD, LCID, SYSKIND);
  const auto function = FindByName<Function>("UnRegisterTypeLibForUser");
  if (function == nullptr) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
  return function(library, major, minor, locale, kind);
}

LCID ThreadLocale() {
  return GetThreadLocale();
}

bool ChangeThreadLocale(LCID locale) {
  return SetThreadLocale(locale) != FALSE;
}

HRESULT CreateTable(IGlobalInterfaceTable** table) {
  return CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                          IID_IGlobalInterfaceTable, reinterpret_cast<void**>(table));
}

}  // namespace

constinit AutomationOperations automation = {LoadRegistered,  LoadFile,           RegisterForAll,
                                             RegisterForUser, UnregisterForAll,   UnregisterForUser,
                                             ThreadLocale,    ChangeThreadLocale, CreateTable};

}  // namespace platform
