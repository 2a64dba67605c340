// The module object of an in-process COM server: the lock count, the class objects, registration.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>

#include "platform/com/automation.h"
#include "platform/com/classfactory.h"
#include "platform/com/comtypes.h"
#include "platform/com/registryscript.h"
#include "platform/moduleimage.h"

namespace platform {

// A creatable class of the module. It has no description and no category.
struct ObjectMapEntry {
  const CLSID* clsid;
  // Runs the class's registry script.
  HRESULT (*updateRegistry)(bool registering);
  HRESULT (*createClassObject)(InstanceCreator creator, REFIID iid, void** object);
  InstanceCreator createInstance;
  // The encoded class factory, or null before the first request. Holds one reference.
  std::atomic<void*> classObject = nullptr;
};

// The module of this image: at most one, static, alive as long as the image.
class ComModule {
 public:
  // `objects` and `libraryId` must live as long as the module.
  ComModule(std::span<ObjectMapEntry> objects, REFGUID libraryId);
  virtual ~ComModule();

  ComModule(const ComModule&) = delete;
  ComModule& operator=(const ComModule&) = delete;

  // Count what keeps the module loaded. Atomic; both return the new count.
  virtual LONG Lock();
  virtual LONG Unlock();
  virtual LONG GetLockCount();
  // The global interface table, created by the first call. The caller releases the result.
  virtual HRESULT GetGITPtr(IGlobalInterfaceTable** table);
  // Adds the replacement that all registry scripts share: "APPID", which is empty.
  virtual HRESULT AddCommonRGSReplacements(RegistryReplacements& replacements);

  // The exported functions of the same names. Any thread may call DllGetClassObject.
  bool DllMain(ModuleInstance instance, std::uint32_t reason);
  HRESULT DllCanUnloadNow();
  HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
  HRESULT DllRegisterServer();
  HRESULT DllUnregisterServer();

  // Runs the script in the resource "REGISTRY" with this identifier and these replacements:
  // "Module" (the library's path, quotes doubled), "Module_Raw" (the path unchanged) and the shared
  // ones.
  HRESULT UpdateRegistryFromResource(std::uint16_t identifier, bool registering);

 protected:
  // True registers the type library for the current user only.
  bool m_bPerUser = false;

 private:
  HRESULT GetClassObject(ObjectMapEntry& entry, IUnknown** classObject);
  HRESULT RegisterTypeLibrary();
  HRESULT UnregisterTypeLibrary();

  std::atomic<LONG> m_nLockCnt = 0;
  GUID m_libid;
  IGlobalInterfaceTable* m_pGIT = nullptr;
  std::span<ObjectMapEntry> m_objects;
  ModuleInstance m_instance = nullptr;
  ModuleLock m_lock;  // null if start-up failed
};

// Keep this image's module loaded. Do nothing in a program without a module, such as a test of a
// single class.
void LockModule();
void UnlockModule();

}  // namespace platform

// The module of a library. The class `Module` names its objects and its type library:
//
//   static std::span<platform::ObjectMapEntry> Objects();
//   static const GUID& TypeLibraryId();
template <class Module>
class CAtlDllModuleT : public platform::ComModule {
 protected:
  CAtlDllModuleT() : ComModule(Module::Objects(), Module::TypeLibraryId()) {}
};
