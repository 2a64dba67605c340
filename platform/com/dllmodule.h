// The module object of an in-process COM server: how many objects keep the library loaded, which
// classes it makes, how it registers itself.
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

// One creatable class of a module. It has no description and belongs to no category.
struct ObjectMapEntry {
  const CLSID* clsid;
  // Runs the class's registry script.
  HRESULT (*updateRegistry)(bool registering);
  HRESULT (*createClassObject)(InstanceCreator creator, REFIID iid, void** object);
  InstanceCreator createInstance;
  // The class factory, encoded, once it has been asked for; null before. It holds one reference.
  std::atomic<void*> classObject = nullptr;
};

// The one module of this image. There is at most one, static, and it lives as long as the image.
class ComModule {
 public:
  // `objects` and `libraryId` are the module's for good.
  ComModule(std::span<ObjectMapEntry> objects, REFGUID libraryId);
  virtual ~ComModule();

  ComModule(const ComModule&) = delete;
  ComModule& operator=(const ComModule&) = delete;

  // The count of what keeps the module loaded. Atomic; both give the new count.
  virtual LONG Lock();
  virtual LONG Unlock();
  virtual LONG GetLockCount();
  // The global interface table, made by the first call; the caller releases what it gets.
  virtual HRESULT GetGITPtr(IGlobalInterfaceTable** table);
  // Adds what every registry script may use: "APPID", which is empty.
  virtual HRESULT AddCommonRGSReplacements(RegistryReplacements& replacements);

  // The steps of the exported functions of the same names. DllGetClassObject may be called on any
  // thread.
  bool DllMain(ModuleInstance instance, std::uint32_t reason);
  HRESULT DllCanUnloadNow();
  HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
  HRESULT DllRegisterServer();
  HRESULT DllUnregisterServer();

  // Runs the script in the resource "REGISTRY" of that identifier, with the replacements "Module"
  // (the library's path, quotes doubled), "Module_Raw" (the path as it is) and the common ones.
  HRESULT UpdateRegistryFromResource(std::uint16_t identifier, bool registering);

 protected:
  // The module's flag: true registers the type library for the present user only.
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
  ModuleLock m_lock;  // null: the module's start-up failed
};

// Keep this image's module loaded. In a program that has no module (a test of a single class)
// there is nothing to keep and both do nothing.
void LockModule();
void UnlockModule();

}  // namespace platform

// The module of a library whose class `Module` names its objects and its type library:
//
//   static std::span<platform::ObjectMapEntry> Objects();
//   static const GUID& TypeLibraryId();
template <class Module>
class CAtlDllModuleT : public platform::ComModule {
 protected:
  CAtlDllModuleT() : ComModule(Module::Objects(), Module::TypeLibraryId()) {}
};
