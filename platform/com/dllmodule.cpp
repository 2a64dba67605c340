#include "platform/com/dllmodule.h"

#include <string>

#include "platform/com/comptr.h"

namespace platform {
namespace {

constexpr std::uint32_t kProcessAttach = 1;                        // DLL_PROCESS_ATTACH
constexpr std::uint32_t kLongestPath = 0x8000;                     // the longest path in Windows
constexpr HRESULT kNoPath = static_cast<HRESULT>(0x8007007A);      // ERROR_INSUFFICIENT_BUFFER
constexpr HRESULT kNoResource = static_cast<HRESULT>(0x80070716);  // ERROR_RESOURCE_NAME_NOT_FOUND

constinit ComModule* s_module = nullptr;

class ModuleLockScope {
 public:
  explicit ModuleLockScope(ModuleLock lock) : m_lock(lock) { moduleImage.EnterLock(m_lock); }
  ~ModuleLockScope() { moduleImage.LeaveLock(m_lock); }
  ModuleLockScope(const ModuleLockScope&) = delete;
  ModuleLockScope& operator=(const ModuleLockScope&) = delete;

 private:
  ModuleLock m_lock;
};

// Registration uses the system's default locale, whatever the caller's is.
class RegistrationLocale {
 public:
  RegistrationLocale() : m_previous(automation.GetThreadLocale()) {
    automation.SetThreadLocale(kSystemDefaultLocale);
  }
  ~RegistrationLocale() { automation.SetThreadLocale(m_previous); }
  RegistrationLocale(const RegistrationLocale&) = delete;
  RegistrationLocale& operator=(const RegistrationLocale&) = delete;

 private:
  LCID m_previous;
};

HRESULT ModulePath(ModuleInstance instance, WideString* path) {
  path->resize(kLongestPath);
  const std::uint32_t length = moduleImage.GetModuleFileNameW(instance, path->data(), kLongestPath);
  if (length == 0 || length >= kLongestPath) return kNoPath;
  path->resize(length);
  return S_OK;
}

// A quote ends a word of the script unless it is doubled.
WideString DoubleQuotes(WideStringView text) {
  WideString doubled;
  for (const WideChar unit : text) {
    if (unit == '\'') doubled += unit;
    doubled += unit;
  }
  return doubled;
}

HRESULT LoadModuleTypeLib(ModuleInstance instance, WideString* path, ComPtr<ITypeLib>* library) {
  const HRESULT hr = ModulePath(instance, path);
  if (FAILED(hr)) return hr;
  return automation.LoadTypeLib(path->c_str(), library->Put());
}

}  // namespace

ComModule::ComModule(std::span<ObjectMapEntry> objects, REFGUID libraryId)
    : m_libid(libraryId), m_objects(objects), m_lock(moduleImage.CreateLock()) {
  s_module = this;
}

ComModule::~ComModule() {
  s_module = nullptr;
  for (ObjectMapEntry& entry : m_objects) {
    if (void* const encoded = entry.classObject.exchange(nullptr)) {
      static_cast<IUnknown*>(moduleImage.DecodePointer(encoded))->Release();
    }
  }
  if (m_pGIT != nullptr) m_pGIT->Release();
  if (m_lock != nullptr) moduleImage.DeleteLock(m_lock);
}

LONG ComModule::Lock() {
  return ++m_nLockCnt;
}

LONG ComModule::Unlock() {
  return --m_nLockCnt;
}

LONG ComModule::GetLockCount() {
  return m_nLockCnt;
}

HRESULT ComModule::GetGITPtr(IGlobalInterfaceTable** table) {
  if (table == nullptr) return E_POINTER;
  *table = nullptr;
  if (m_lock == nullptr) return E_UNEXPECTED;
  const ModuleLockScope scope(m_lock);
  if (m_pGIT == nullptr) {
    const HRESULT hr = automation.CreateGlobalInterfaceTable(&m_pGIT);
    if (FAILED(hr)) return hr;
  }
  *table = m_pGIT;
  m_pGIT->AddRef();
  return S_OK;
}

HRESULT ComModule::AddCommonRGSReplacements(RegistryReplacements& replacements) {
  replacements.Add(QV_WIDE("APPID"), {});
  return S_OK;
}

bool ComModule::DllMain(ModuleInstance instance, std::uint32_t reason) {
  m_instance = instance;
  return reason != kProcessAttach || m_lock != nullptr;
}

HRESULT ComModule::DllCanUnloadNow() {
  return GetLockCount() == 0 ? S_OK : S_FALSE;
}

HRESULT ComModule::DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (m_lock == nullptr) return E_UNEXPECTED;
  for (ObjectMapEntry& entry : m_objects) {
    if (!IsEqualGUID(*entry.clsid, clsid)) continue;
    IUnknown* classObject = nullptr;
    HRESULT hr = GetClassObject(entry, &classObject);
    if (SUCCEEDED(hr)) hr = classObject->QueryInterface(iid, object);
    if (FAILED(hr)) *object = nullptr;
    return SUCCEEDED(hr) && *object == nullptr ? CLASS_E_CLASSNOTAVAILABLE : hr;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

// The factory of an entry, created on first use. It isn't counted and lives as long as the module.
HRESULT ComModule::GetClassObject(ObjectMapEntry& entry, IUnknown** classObject) {
  if (entry.classObject == nullptr) {
    const ModuleLockScope scope(m_lock);
    // Another thread may have stored its factory first.
    if (entry.classObject == nullptr) {
      void* created = nullptr;
      const HRESULT hr = entry.createClassObject(entry.createInstance, IID_IUnknown, &created);
      if (FAILED(hr)) return hr;
      if (created == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
      entry.classObject = moduleImage.EncodePointer(created);
    }
  }
  *classObject = static_cast<IUnknown*>(moduleImage.DecodePointer(entry.classObject));
  return S_OK;
}

HRESULT ComModule::DllRegisterServer() {
  const RegistrationLocale locale;
  for (const ObjectMapEntry& entry : m_objects) {
    const HRESULT hr = entry.updateRegistry(true);
    if (FAILED(hr)) return hr;
  }
  return RegisterTypeLibrary();
}

HRESULT ComModule::DllUnregisterServer() {
  const RegistrationLocale locale;
  for (const ObjectMapEntry& entry : m_objects) {
    const HRESULT hr = entry.updateRegistry(false);
    if (FAILED(hr)) return hr;
  }
  return UnregisterTypeLibrary();
}

HRESULT ComModule::UpdateRegistryFromResource(std::uint16_t identifier, bool registering) {
  RegistryReplacements replacements;
  HRESULT hr = AddCommonRGSReplacements(replacements);
  if (FAILED(hr)) return hr;
  WideString path;
  hr = ModulePath(m_instance, &path);
  if (FAILED(hr)) return hr;
  replacements.Add(QV_WIDE("Module"), DoubleQuotes(path));
  replacements.Add(QV_WIDE("Module_Raw"), path);

  const char* bytes = nullptr;
  std::size_t size = 0;
  if (!moduleImage.FindResourceBytes(m_instance, QV_WIDE("REGISTRY"), identifier, &bytes, &size)) {
    return kNoResource;
  }
  const std::string_view script(bytes, size);
  return registering ? RegisterByScript(script, replacements)
                     : UnregisterByScript(script, replacements);
}

HRESULT ComModule::RegisterTypeLibrary() {
  WideString path;
  ComPtr<ITypeLib> library;
  const HRESULT hr = LoadModuleTypeLib(m_instance, &path, &library);
  if (FAILED(hr)) return hr;
  const WideString folder = path.substr(0, path.find_last_of(QV_WIDE("\\/")) + 1);
  const auto registration =
      m_bPerUser ? automation.RegisterTypeLibForUser : automation.RegisterTypeLib;
  return registration(library.Get(), path.c_str(), folder.c_str());
}

HRESULT ComModule::UnregisterTypeLibrary() {
  WideString path;
  ComPtr<ITypeLib> library;
  HRESULT hr = LoadModuleTypeLib(m_instance, &path, &library);
  if (FAILED(hr)) return hr;
  TLIBATTR* found = nullptr;
  hr = library->GetLibAttr(&found);
  if (FAILED(hr)) return hr;
  const TLIBATTR attributes = *found;
  library->ReleaseTLibAttr(found);
  const auto removal =
      m_bPerUser ? automation.UnRegisterTypeLibForUser : automation.UnRegisterTypeLib;
  return removal(m_libid, attributes.wMajorVerNum, attributes.wMinorVerNum, attributes.lcid,
                 attributes.syskind);
}

void LockModule() {
  if (s_module != nullptr) s_module->Lock();
}

void UnlockModule() {
  if (s_module != nullptr) s_module->Unlock();
}

}  // namespace platform
