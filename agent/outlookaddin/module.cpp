#include "agent/outlookaddin/module.h"

#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/hostborder.h"

namespace {

HRESULT UpdateRegistry(bool registering) {
  return g_module.UpdateRegistryFromResource(outlookaddin::kResourceRegistryScript, registering);
}

// Defined before the module, whose destructor releases the class object.
platform::ObjectMapEntry s_objects[] = {{
    &CLSID_Connect,
    UpdateRegistry,
    CDlpAddinConnect::CreateClassObject,
    CDlpAddinConnect::CreateInstance,
}};

}  // namespace

std::span<platform::ObjectMapEntry> CQuorvexModule::Objects() {
  return s_objects;
}

using outlookaddin::EndExceptions;

CQuorvexModule g_module;

HRESULT STDAPICALLTYPE DllCanUnloadNow() {
  return EndExceptions("DllCanUnloadNow", [] { return g_module.DllCanUnloadNow(); });
}

HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  return EndExceptions("DllGetClassObject",
                       [&] { return g_module.DllGetClassObject(clsid, iid, object); });
}

HRESULT STDAPICALLTYPE DllRegisterServer() {
  return EndExceptions("DllRegisterServer", [] { return g_module.DllRegisterServer(); });
}

HRESULT STDAPICALLTYPE DllUnregisterServer() {
  return EndExceptions("DllUnregisterServer", [] { return g_module.DllUnregisterServer(); });
}
