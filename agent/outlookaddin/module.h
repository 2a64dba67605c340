// The library as an in-process COM server: one creatable class, Connect, and its registration.
//
// The exported functions, in the order of their ordinals, are the only way in from outside. They
// may be called before anything else of the add-in runs; nothing is logged here, since the log
// starts with the connection.
#pragma once

#include <span>

#include "agent/outlookaddin/addinids.h"
#include "platform/com/comtypes.h"
#include "platform/com/dllmodule.h"

// The module object, built in static initialisation; its one instance stands in module.cpp.
class CQuorvexModule : public CAtlDllModuleT<CQuorvexModule> {
 public:
  // The object map: CDlpAddinConnect.
  static std::span<platform::ObjectMapEntry> Objects();
  static const GUID& TypeLibraryId() { return LIBID_QuorvexLib; }
};

extern CQuorvexModule g_module;

extern "C" {

// S_OK when nothing keeps the library loaded, otherwise S_FALSE.
HRESULT STDAPICALLTYPE DllCanUnloadNow();
// The class object of `clsid`; CLASS_E_CLASSNOTAVAILABLE with `*object` null for any class but
// Connect. Any thread may call.
HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
// Write and remove the class's keys and the type library's. S_OK, or the first failure. The
// thread's locale is the same afterwards.
HRESULT STDAPICALLTYPE DllRegisterServer();
HRESULT STDAPICALLTYPE DllUnregisterServer();
}
