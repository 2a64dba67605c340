// The same crafted PCs as in machinegatheringtest.cpp, with their keys in the real registry. Both
// hives are redirected into a key of the test's own meanwhile.
#include <gtest/gtest.h>
#include <windows.h>

#include "tests/tools/craftedpc.h"
#include "tools/system/win32/utf8.h"

namespace {

constexpr const wchar_t* kTestKey = L"Software\\QuorvexMachineRegistryTest";

class RedirectedHives {
 public:
  RedirectedHives() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey);
    m_machine = Create(HKEY_CURRENT_USER, std::wstring(kTestKey) + L"\\Machine");
    m_user = Create(HKEY_CURRENT_USER, std::wstring(kTestKey) + L"\\User");
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_machine);
    RegOverridePredefKey(HKEY_CURRENT_USER, m_user);
  }
  ~RedirectedHives() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(m_machine);
    RegCloseKey(m_user);
    RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey);
  }

  void Write(const tests::CraftedPc::Registry& registry) const {
    for (const auto& [place, content] : registry) {
      const auto& [hive, view, path] = place;
      if (content.look != tools::system::RegistryKeyContent::Look::kFound) continue;
      const HKEY key = Create(hive == tools::system::Hive::kMachine ? m_machine : m_user,
                              tools::system::win32::ToWide(path));
      for (const auto& value : content.values) WriteValue(key, value);
      RegCloseKey(key);
    }
  }

 private:
  static HKEY Create(HKEY parent, const std::wstring& path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                              &key, nullptr),
              ERROR_SUCCESS);
    return key;
  }
  static void WriteValue(HKEY key, const tools::system::RegistryValue& value) {
    const std::wstring name = tools::system::win32::ToWide(value.name);
    const std::wstring text = tools::system::win32::ToWide(value.text);
    const bool isNumber = value.kind == tools::system::RegistryValue::Kind::kNumber;
    EXPECT_EQ(RegSetValueExW(
                  key, name.c_str(), 0, isNumber ? REG_DWORD : REG_SZ,
                  isNumber ? reinterpret_cast<const BYTE*>(&value.number)
                           : reinterpret_cast<const BYTE*>(text.c_str()),
                  isNumber ? DWORD{4} : static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }

  HKEY m_machine = nullptr;
  HKEY m_user = nullptr;
};

std::string IdsFromTheRealRegistry(tests::CraftedPc& pc) {
  tools::MachineSources sources = pc.Sources();
  sources.registry = tools::system::ReadRegistryKey;
  const RedirectedHives hives;
  hives.Write(pc.AllKeys());
  return tests::CraftedPc::Ids(sources);
}

TEST(MachineRegistry, AHealthyPcHasNoFindings) {
  tests::CraftedPc pc;
  EXPECT_EQ(IdsFromTheRealRegistry(pc), "");
}

TEST(MachineRegistry, EachBrokenOneHasItsFinding) {
  for (const auto& [ids, change] : tests::RegistryCases()) {
    tests::CraftedPc pc;
    change(pc);
    EXPECT_EQ(IdsFromTheRealRegistry(pc), ids);
  }
}

TEST(MachineRegistry, AnEmptyRegistryMeansNoOutlook) {
  tests::CraftedPc pc;
  tools::MachineSources sources = pc.Sources();
  sources.registry = tools::system::ReadRegistryKey;
  const RedirectedHives hives;
  EXPECT_EQ(tests::CraftedPc::Ids(sources), "no-outlook ");
}

// Everything for real: this Wine has no Outlook and no agent.
TEST(MachineRegistry, ThisPcCanBeDescribed) {
  tools::MachineSources sources;
  sources.ring = "Global\\QuorvexNoSuchRing";
  const RedirectedHives hives;
  const auto machine = tools::DescribeMachine(sources);
  EXPECT_TRUE(machine.outlooks.empty());
  EXPECT_FALSE(machine.agent.isThere);
  EXPECT_TRUE(machine.temporary.isThere);
  EXPECT_TRUE(machine.temporary.isWritable);
  EXPECT_FALSE(machine.system.empty());
}

}  // namespace
