#include "platform/com/automation.h"

namespace platform {
namespace {

thread_local LCID t_locale = 0x0409;

HRESULT LoadRegistered(REFGUID, WORD, WORD, LCID, ITypeLib** result) {
  *result = nullptr;
  return TYPE_E_LIBNOTREGISTERED;
}

HRESULT LoadFile(const WideChar*, ITypeLib** result) {
  *result = nullptr;
  return TYPE_E_LIBNOTREGISTERED;
}

HRESULT Register(ITypeLib*, const WideChar*, const WideChar*) {
  return TYPE_E_LIBNOTREGISTERED;
}

HRESULT Unregister(REFGUID, WORD, WORD, LCID, SYSKIND) {
  return TYPE_E_LIBNOTREGISTERED;
}

LCID ThreadLocale() {
  return t_locale;
}

bool ChangeThreadLocale(LCID locale) {
  t_locale = locale;
  return true;
}

HRESULT CreateTable(IGlobalInterfaceTable** table) {
  *table = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace

constinit AutomationOperations automation = {LoadRegistered, LoadFile,           Register,
                                             Register,       Unregister,         Unregister,
                                             ThreadLocale,   ChangeThreadLocale, CreateTable};

}  // namespace platform
