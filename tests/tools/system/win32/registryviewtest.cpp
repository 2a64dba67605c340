// Reading the real registry in both views. The keys have names of their own and are deleted again.
#include "tools/system/registryview.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <sddl.h>

#include <cstring>
#include <string>

#include "platform/mappings.h"
#include "platform/scopedhandle.h"
#include "tools/system/windowsfacts.h"

namespace tools::system {
namespace {

class RegistryViewTest : public testing::Test {
 protected:
  static constexpr const wchar_t* kKey = L"Software\\Classes\\CLSID\\{QuorvexRegistryViewTest}";
  static constexpr const char* kName = "Software\\Classes\\CLSID\\{QuorvexRegistryViewTest}";

  void SetUp() override { m_bits = ReadSystemFacts().bits; }
  void TearDown() override {
    for (const REGSAM view : {REGSAM{KEY_WOW64_64KEY}, REGSAM{KEY_WOW64_32KEY}}) {
      RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, view, 0);
      RegDeleteKeyExW(HKEY_CURRENT_USER, kKey, view, 0);
    }
  }

  static void Set(HKEY hive, REGSAM view, const wchar_t* name, DWORD type, const void* data,
                  std::size_t size) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(hive, kKey, 0, nullptr, 0, KEY_WRITE | view, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                             static_cast<DWORD>(size)),
              ERROR_SUCCESS);
    RegCloseKey(key);
  }
  static void SetText(HKEY hive, REGSAM view, const wchar_t* name, const std::wstring& text,
                      DWORD type = REG_SZ) {
    Set(hive, view, name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
  }

  int m_bits = 0;
};

TEST_F(RegistryViewTest, ReadsEachHiveAndView) {
  SetText(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, L"", L"machine 32");
  if (m_bits == 64) {
    EXPECT_EQ(ReadRegistryKey(Hive::kMachine, 64, kName).look, RegistryKeyContent::Look::kMissing);
    SetText(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, L"", L"machine 64");
    EXPECT_EQ(ReadRegistryKey(Hive::kMachine, 64, kName).Find("")->text, "machine 64");
  }
  SetText(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"", L"user");
  EXPECT_EQ(ReadRegistryKey(Hive::kMachine, 32, kName).Find("")->text, "machine 32");
  EXPECT_EQ(ReadRegistryKey(Hive::kUser, 32, kName).Find("")->text, "user");
}

TEST_F(RegistryViewTest, ReadsEachKindOfValue) {
  const DWORD number = 3;
  Set(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"LoadBehavior", REG_DWORD, &number, sizeof number);
  Set(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"bytes", REG_BINARY, "a\0b", 3);
  SetText(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"text", L"\u00E4");
  SetText(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"path", L"%SystemDrive%\\x", REG_EXPAND_SZ);
  Set(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"open", REG_SZ, L"ab", 2 * sizeof(wchar_t));
  const RegistryKeyContent key = ReadRegistryKey(Hive::kUser, 32, kName);
  ASSERT_EQ(key.look, RegistryKeyContent::Look::kFound);
  ASSERT_EQ(key.values.size(), 5u);
  EXPECT_EQ(key.Find("loadbehavior")->number, 3u);
  EXPECT_EQ(key.Find("loadbehavior")->kind, RegistryValue::Kind::kNumber);
  EXPECT_EQ(key.Find("bytes")->bytes, std::string("a\0b", 3));
  EXPECT_EQ(key.Find("text")->text, "\xC3\xA4");
  EXPECT_EQ(key.Find("path")->text, "C:\\x");
  EXPECT_EQ(key.Find("open")->text, "ab");
  EXPECT_EQ(key.Find("none"), nullptr);
}

TEST(WindowsFacts, NameThisSystem) {
  const SystemFacts facts = ReadSystemFacts();
  EXPECT_TRUE(facts.isWindows);
  EXPECT_TRUE(facts.name.starts_with("Windows ")) << facts.name;
  EXPECT_FALSE(facts.computer.empty());
  EXPECT_GE(facts.bits, static_cast<int>(sizeof(void*) * 8));
  EXPECT_FALSE(facts.folder32.empty());
  EXPECT_EQ(facts.folder64.empty(), facts.bits == 32);
}

TEST(WindowsFacts, ListTheLibrariesOfARunningProgram) {
  wchar_t path[MAX_PATH] = L"";
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::string name;
  for (const wchar_t* c = wcsrchr(path, L'\\') + 1; *c != 0; ++c) name += static_cast<char>(*c);
  bool hasKernel = false;
  for (const RunningProgram& program : RunningPrograms(name)) {
    if (program.processId != GetCurrentProcessId()) continue;
    EXPECT_EQ(program.problem, "");
    for (std::string library : program.libraries) {
      for (char& c : library) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      hasKernel = hasKernel || library.ends_with("\\kernel32.dll");
    }
  }
  EXPECT_TRUE(hasKernel);
  EXPECT_TRUE(RunningPrograms("no-such-program.exe").empty());
}

TEST(WindowsFacts, ReadTheAccessListOfAMapping) {
  const char* const name = "Local\\QuorvexAccessTest";
  EXPECT_FALSE(ReadMappingAccess(name).isThere);
  const platform::ScopedHandle mapping(platform::mappings.CreateFileMappingA(4096, name));
  ASSERT_TRUE(mapping.IsOpen());
  const MappingAccess access = ReadMappingAccess(name);
  EXPECT_TRUE(access.isThere);
  EXPECT_EQ(access.problem, "");
  // Interactive users may map it. Its owner may read the list on Windows only if the list says so.
  EXPECT_TRUE(access.list.empty() || access.list.find(";;;IU)") != std::string::npos)
      << access.list;
}

TEST(WindowsFacts, ReadAnAccessListThatEverybodyMayRead) {
  const char* const name = "Local\\QuorvexReadableTest";
  SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, FALSE};
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(
      "D:(A;;GA;;;WD)", SDDL_REVISION_1, &attributes.lpSecurityDescriptor, nullptr));
  const HANDLE mapping =
      CreateFileMappingA(INVALID_HANDLE_VALUE, &attributes, PAGE_READWRITE, 0, 4096, name);
  LocalFree(attributes.lpSecurityDescriptor);
  ASSERT_NE(mapping, nullptr);
  const std::string list = ReadMappingAccess(name).list;
  EXPECT_TRUE(list.starts_with("D:(A;;") && list.ends_with(";;;WD)")) << list;
  CloseHandle(mapping);
}

TEST(WindowsFacts, AnUnsignedFileHasNoPublisher) {
  wchar_t path[MAX_PATH] = L"";
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::string narrow;
  for (const wchar_t* c = path; *c != 0; ++c) narrow += static_cast<char>(*c);
  const FileSignature signature = ReadFileSignature(narrow);
  EXPECT_NE(signature.state, "valid");
  EXPECT_EQ(signature.publisher, "");
}

TEST(WindowsFacts, FilesCanBeCreatedInTheTemporaryFolder) {
  char folder[MAX_PATH] = "";
  GetTempPathA(MAX_PATH, folder);
  EXPECT_TRUE(MayCreateFiles(folder));
  EXPECT_FALSE(MayCreateFiles(std::string(folder) + "no-such-folder"));
}

}  // namespace
}  // namespace tools::system
