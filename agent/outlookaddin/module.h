// The library as an in-process COM server: one creatable class, Connect, and its registration.
//
// The exported functions, declared in the order of their ordinals, are the library's only entry
// points. They log nothing but exceptions, and not even those before OnConnection has started the
// log.
//
// Threads: any thread may call DllGetClassObject and DllCanUnloadNow. Registration changes the
// locale of the calling thread while it runs and must not run twice at the same time. The class is
// "Apartment": the host creates and calls an object, and receives its events, on one thread.
#pragma once

#include <span>

#include "agent/outlookaddin/addinids.h"
#include "platform/com/comtypes.h"
#include "platform/com/dllmodule.h"

// Its one instance, g_module, is built in static initialisation.
class CQuorvexModule : public CAtlDllModuleT<CQuorvexModule> {
 public:
  // The object map: CDlpAddinConnect.
  static std::span<platform::ObjectMapEntry> Objects();
  static const GUID& TypeLibraryId() { return LIBID_QuorvexLib; }
};

extern CQuorvexModule g_module;

extern "C" {

// Returns S_OK if nothing keeps the library loaded, otherwise S_FALSE.
HRESULT STDAPICALLTYPE DllCanUnloadNow();
// Returns the class object of `clsid`. For any class but Connect returns CLASS_E_CLASSNOTAVAILABLE
// and sets `*object` to null. Any thread may call it.
HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
// Write and remove the registry keys of the class and of the type library. Return S_OK or the first
// failure. The thread's locale is the same afterwards.
HRESULT STDAPICALLTYPE DllRegisterServer();
HRESULT STDAPICALLTYPE DllUnregisterServer();
}
