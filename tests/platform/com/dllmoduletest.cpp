// The module's lock: who creates it, who holds it and who frees it.
#include "platform/com/dllmodule.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/scopedreplacement.h"

namespace {

using platform::ModuleLock;

class EmptyModule final : public CAtlDllModuleT<EmptyModule> {
 public:
  static std::span<platform::ObjectMapEntry> Objects() { return {}; }
  static const GUID& TypeLibraryId() {
    static constexpr GUID kLibrary = {};
    return kLibrary;
  }
};

class DllModuleLock : public testing::Test {
 protected:
  void Record(const char* call, ModuleLock lock) {
    EXPECT_EQ(lock, this);
    calls.emplace_back(call);
  }

  std::vector<std::string> calls;
  ModuleLock created = this;
  platform::ScopedReplacement<platform::moduleImage, &platform::ModuleImageOperations::CreateLock>
      m_creating{[this](auto) { return created; }};
  platform::ScopedReplacement<platform::moduleImage, &platform::ModuleImageOperations::EnterLock>
      m_entering{[this](auto, ModuleLock lock) { Record("enter", lock); }};
  platform::ScopedReplacement<platform::moduleImage, &platform::ModuleImageOperations::LeaveLock>
      m_leaving{[this](auto, ModuleLock lock) { Record("leave", lock); }};
  platform::ScopedReplacement<platform::moduleImage, &platform::ModuleImageOperations::DeleteLock>
      m_deleting{[this](auto, ModuleLock lock) { Record("delete", lock); }};
};

TEST_F(DllModuleLock, IsHeldWhileTheTableOfInterfacesIsMadeAndFreedWithTheModule) {
  platform::ScopedReplacement<platform::automation,
                              &platform::AutomationOperations::CreateGlobalInterfaceTable>
      failing([this](auto, IGlobalInterfaceTable**) -> HRESULT {
        calls.emplace_back("make");
        return E_OUTOFMEMORY;
      });
  {
    EmptyModule module;
    IGlobalInterfaceTable* table = nullptr;
    EXPECT_EQ(module.GetGITPtr(&table), E_OUTOFMEMORY);
    EXPECT_THAT(calls, testing::ElementsAre("enter", "make", "leave"));
    calls.clear();
  }
  EXPECT_THAT(calls, testing::ElementsAre("delete"));
}

TEST_F(DllModuleLock, IsNeitherHeldNorFreedIfItWasNotCreated) {
  created = nullptr;
  {
    EmptyModule module;
    IGlobalInterfaceTable* table = nullptr;
    EXPECT_EQ(module.GetGITPtr(&table), E_UNEXPECTED);
  }
  EXPECT_THAT(calls, testing::IsEmpty());
}

}  // namespace
