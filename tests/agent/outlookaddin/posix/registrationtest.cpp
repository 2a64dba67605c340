// The library's registry script, run on the simulated registry of POSIX.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "agent/outlookaddin/module.h"
#include "platform/scopedreplacement.h"
#include "tests/agent/outlookaddin/registrationtable.h"

namespace tests {
namespace {

using platform::kClassesRoot;
using platform::ModuleImageOperations;
using platform::ScopedReplacement;

class LibraryScript : public testing::Test {
 protected:
  void SetUp() override {
    std::ifstream file(QUORVEX_REGISTRY_SCRIPT, std::ios::binary);
    m_script.assign(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(m_script.empty()) << QUORVEX_REGISTRY_SCRIPT;
    Clear();
  }
  void TearDown() override { Clear(); }
  static void Clear() {
    for (const char* const key : {"CLSID", "Quorvex.Connect", "Quorvex.Connect.1"}) {
      platform::registry.DeleteTree(kClassesRoot, WidePath(key).c_str());
    }
  }
  static void MakeKey(const std::string& path) {
    platform::RegistryKey key = nullptr;
    ASSERT_EQ(platform::registry.CreateKey(kClassesRoot, WidePath(path).c_str(), &key), 0);
    platform::registry.CloseKey(key);
  }

  std::string m_script;
  ScopedReplacement<platform::moduleImage, &ModuleImageOperations::FindResourceBytes> m_resource{
      [this](auto, auto, auto, auto, const char** bytes, std::size_t* size) {
        *bytes = m_script.data();
        *size = m_script.size();
        return true;
      }};
};

TEST_F(LibraryScript, WritesTheWholeTable) {
  ASSERT_EQ(g_module.UpdateRegistryFromResource(101, true), S_OK);
  for (const RegistryRow& row : kRegistrationRows) {
    EXPECT_TRUE(HasKey(row.key)) << row.key;
    const std::optional<std::string> value = RegistryValue(row.key, row.name);
    if (row.value == nullptr) {
      EXPECT_EQ(value, std::nullopt) << row.key;
    } else if (std::string(row.value) == "%MODULE%") {
      EXPECT_THAT(value.value_or("(none)"), testing::EndsWith("/test_agent_outlookaddin"));
    } else {
      EXPECT_EQ(value, row.value) << row.key;
    }
  }
}

TEST_F(LibraryScript, TouchesNothingElse) {
  std::set<std::string> made;
  ScopedReplacement<platform::registry, &platform::RegistryOperations::CreateKey> noted(
      [&](auto original, platform::RegistryKey parent, const platform::WideChar* name,
          platform::RegistryKey* key) {
        const platform::WideString wide(name);
        if (parent == kClassesRoot) made.insert(std::string(wide.begin(), wide.end()));
        return original(parent, name, key);
      });
  ASSERT_EQ(g_module.UpdateRegistryFromResource(101, true), S_OK);
  EXPECT_EQ(made, std::set<std::string>({"CLSID", "Quorvex.Connect", "Quorvex.Connect.1"}));
}

TEST_F(LibraryScript, DeletesAnOlderRegistrationFirst) {
  MakeKey(QV_TEST_CLASS_KEY "\\LocalServer32");
  MakeKey(QV_TEST_CLASS_KEY "\\Programmable\\Old");
  ASSERT_EQ(g_module.UpdateRegistryFromResource(101, true), S_OK);
  EXPECT_FALSE(HasKey(QV_TEST_CLASS_KEY "\\LocalServer32"));
  EXPECT_FALSE(HasKey(QV_TEST_CLASS_KEY "\\Programmable\\Old"));
}

TEST_F(LibraryScript, RemovalKeepsTheKeyClsid) {
  MakeKey("CLSID\\{00000000-0000-0000-0000-000000000001}");
  ASSERT_EQ(g_module.UpdateRegistryFromResource(101, true), S_OK);
  ASSERT_EQ(g_module.UpdateRegistryFromResource(101, false), S_OK);
  EXPECT_TRUE(HasKey("CLSID"));
  EXPECT_TRUE(HasKey("CLSID\\{00000000-0000-0000-0000-000000000001}"));
  EXPECT_FALSE(HasKey(QV_TEST_CLASS_KEY));
  EXPECT_FALSE(HasKey("Quorvex.Connect"));
  EXPECT_FALSE(HasKey("Quorvex.Connect.1"));
}

TEST_F(LibraryScript, ReturnsTheErrorOfTheStepThatFails) {
  // Counts the steps of a successful registration, then makes each fail in turn.
  int steps = 0;
  int refused = 0;
  const auto step = [&] { return ++steps == refused; };
  ScopedReplacement<platform::registry, &platform::RegistryOperations::CreateKey> create(
      [&](auto original, platform::RegistryKey parent, const platform::WideChar* name,
          platform::RegistryKey* key) {
        *key = nullptr;
        return step() ? 5 : original(parent, name, key);
      });
  ScopedReplacement<platform::registry, &platform::RegistryOperations::SetString> set(
      [&](auto original, auto... arguments) { return step() ? 5 : original(arguments...); });
  ScopedReplacement<platform::registry, &platform::RegistryOperations::DeleteTree> remove(
      [&](auto original, auto... arguments) { return step() ? 5 : original(arguments...); });
  ASSERT_EQ(g_module.UpdateRegistryFromResource(101, true), S_OK);
  const int all = std::exchange(steps, 0);
  EXPECT_EQ(all, 2 + 12 + 11) << "deletions, keys, values";
  for (refused = 1; refused <= all; ++refused) {
    steps = 0;
    EXPECT_EQ(g_module.UpdateRegistryFromResource(101, true), static_cast<HRESULT>(0x80070005));
    EXPECT_EQ(steps, refused) << "nothing follows a failure";
  }
}

}  // namespace
}  // namespace tests
