// Registration and its removal by regsvr32.
#include "agent/outlookaddin/addinids.h"
#include "tests/endtoend/win32/endtoend.h"

namespace tests {
namespace {

constexpr const wchar_t* kClass = L"CLSID\\{5E1B7C42-9D3A-4F06-A8C1-3B7E42D09A16}";

TEST(Registration, NamesTheClassAndIsRemovedWithoutARest) {
  const std::vector<std::wstring> before = RegisteredNames();
  ASSERT_THAT(before, testing::Contains(L"\\CLSID"));
  CLSID connect = {};
  ASSERT_NE(CLSIDFromProgID(kProgId, &connect), S_OK) << "a library is registered already";

  const std::string library = BesideProgram("DlpAddIn.dll");
  ASSERT_EQ(RunRegsvr32({library}), 0);
  EXPECT_EQ(CLSIDFromProgID(kProgId, &connect), S_OK);
  EXPECT_TRUE(IsEqualGUID(connect, CLSID_Connect));
  EXPECT_EQ(CLSIDFromProgID(L"Quorvex.Connect.1", &connect), S_OK);
  EXPECT_TRUE(IsEqualGUID(connect, CLSID_Connect));
  const std::wstring inProcess = std::wstring(kClass) + L"\\InprocServer32";
  EXPECT_TRUE(std::filesystem::equivalent(
      ClassesValue(inProcess).value_or(L""),
      std::filesystem::path(std::u8string(library.begin(), library.end()))));
  EXPECT_EQ(ClassesValue(inProcess, L"ThreadingModel"), L"Apartment");

  EXPECT_EQ(RunRegsvr32({"/u", library}), 0);
  EXPECT_EQ(RegisteredNames(), before);
  EXPECT_NE(CLSIDFromProgID(kProgId, &connect), S_OK);
}

TEST(Registration, CanBeRepeated) {
  const std::string library = BesideProgram("DlpAddIn.dll");
  ASSERT_EQ(RunRegsvr32({library}), 0);
  ASSERT_EQ(RunRegsvr32({library}), 0) << "a second registration replaces the first";
  EXPECT_EQ(RunRegsvr32({"/u", library}), 0);
}

}  // namespace
}  // namespace tests
