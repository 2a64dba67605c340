// Registry scripts: what they write, delete and reject.
#include "platform/com/registryscript.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "platform/process.h"
#include "platform/registry.h"
#include "platform/scopedreplacement.h"

namespace {

using platform::kClassesRoot;
using platform::RegistryKey;
using platform::WideString;
using platform::WideStringView;

WideString Widen(const std::string& text) {
  return {text.begin(), text.end()};
}

// Each test has its own key, because test programs run in parallel.
class RegistryScript : public testing::Test {
 protected:
  void SetUp() override {
    m_top = "QuorvexTest" + std::to_string(platform::process.GetCurrentProcessId());
    platform::registry.DeleteTree(kClassesRoot, Widen(m_top).c_str());
    m_replacements.Add(QV_WIDE("Top"), Widen(m_top));
  }
  void TearDown() override { platform::registry.DeleteTree(kClassesRoot, Widen(m_top).c_str()); }

  HRESULT Register(const std::string& entries) {
    return platform::RegisterByScript(Whole(entries), m_replacements);
  }
  HRESULT Unregister(const std::string& entries) {
    return platform::UnregisterByScript(Whole(entries), m_replacements);
  }
  static std::string Whole(const std::string& entries) {
    return "HKCR { NoRemove %TOP% { " + entries + " } }";
  }

  // `path` is below the test's key.
  bool HasKey(const std::string& path) {
    RegistryKey key = nullptr;
    const bool found =
        platform::registry.OpenKey(kClassesRoot, Widen(m_top + path).c_str(), &key) == 0;
    platform::registry.CloseKey(key);
    return found;
  }
  std::optional<std::string> Value(const std::string& path, const std::string& name = "") {
    RegistryKey key = nullptr;
    if (platform::registry.OpenKey(kClassesRoot, Widen(m_top + path).c_str(), &key) != 0) {
      return std::nullopt;
    }
    platform::WideChar buffer[512];
    std::uint32_t size = 512;
    const auto result = platform::registry.GetString(key, Widen(name).c_str(), buffer, &size);
    platform::registry.CloseKey(key);
    if (result != 0) return std::nullopt;
    return std::string(buffer, buffer + size - 1);
  }

  std::string m_top;
  platform::RegistryReplacements m_replacements;
};

TEST_F(RegistryScript, CreatesKeysWithDefaultAndNamedValues) {
  ASSERT_EQ(Register("Outer = s 'the outer one' { Inner { val Model = s 'Apartment' } }"), S_OK);
  EXPECT_EQ(Value("\\Outer"), "the outer one");
  EXPECT_EQ(Value("\\Outer\\Inner", "Model"), "Apartment");
  EXPECT_EQ(Value("\\Outer\\Inner"), std::nullopt);
}

TEST_F(RegistryScript, AcceptsBothNamesOfTheRoot) {
  const std::string rest = " { NoRemove %top% { Key } }";
  ASSERT_EQ(platform::RegisterByScript("HKEY_CLASSES_ROOT" + rest, m_replacements), S_OK);
  EXPECT_TRUE(HasKey("\\Key"));
  EXPECT_EQ(platform::RegisterByScript("HKLM" + rest, m_replacements),
            platform::kMalformedRegistryScript);
}

TEST_F(RegistryScript, ReadsSeveralRoots) {
  ASSERT_EQ(platform::RegisterByScript("HKCR { NoRemove %TOP% { One } } HKCR { NoRemove %TOP% { "
                                       "Two } }",
                                       m_replacements),
            S_OK);
  EXPECT_TRUE(HasKey("\\One"));
  EXPECT_TRUE(HasKey("\\Two"));
}

TEST_F(RegistryScript, AcceptsKeywordsInAnyCase) {
  ASSERT_EQ(platform::RegisterByScript("hkcr { noremove %tOp% { FORCEREMOVE Key = S 'x' { VAL Name "
                                       "= s 'y' } } }",
                                       m_replacements),
            S_OK);
  EXPECT_EQ(Value("\\Key"), "x");
  EXPECT_EQ(Value("\\key", "NAME"), "y");
}

TEST_F(RegistryScript, InsertsReplacementsIgnoringCase) {
  m_replacements.Add(QV_WIDE("Module"), QV_WIDE("C:\\a folder\\x.dll"));
  m_replacements.Add(QV_WIDE("APPID"), {});
  ASSERT_EQ(Register("Key = s '%MODULE%' { val App = s '<%AppId%>' val Sign = s '100%%' }"), S_OK);
  EXPECT_EQ(Value("\\Key"), "C:\\a folder\\x.dll");
  EXPECT_EQ(Value("\\Key", "App"), "<>");
  EXPECT_EQ(Value("\\Key", "Sign"), "100%");
}

TEST_F(RegistryScript, KeepsWideTextOfAReplacement) {
  const WideString path = {'C', ':', '\\', 0x4E2D, 0x6587, 0xD83D, 0xDE00};
  m_replacements.Add(QV_WIDE("Module"), path);
  std::vector<platform::RegistryScriptKey> keys;
  ASSERT_EQ(platform::ParseRegistryScript("HKCR { Key = s '%Module%' }", m_replacements, &keys),
            S_OK);
  ASSERT_EQ(keys.size(), 1u);
  ASSERT_EQ(keys[0].values.size(), 1u);
  EXPECT_EQ(keys[0].values[0].text, path);
}

TEST_F(RegistryScript, AReplacementAddedTwiceHasItsLastValue) {
  m_replacements.Add(QV_WIDE("Word"), QV_WIDE("first"));
  m_replacements.Add(QV_WIDE("WORD"), QV_WIDE("second"));
  ASSERT_EQ(Register("Key = s '%word%'"), S_OK);
  EXPECT_EQ(Value("\\Key"), "second");
}

TEST_F(RegistryScript, ReadsDoubledQuotesAsOne) {
  ASSERT_EQ(Register("Key = s 'it''s ''here''' { 'a key' = s '' }"), S_OK);
  EXPECT_EQ(Value("\\Key"), "it's 'here'");
  EXPECT_EQ(Value("\\Key\\a key"), "");
}

TEST_F(RegistryScript, AcceptsABracedWordAsAName) {
  ASSERT_EQ(Register("{5E1B7C42-9D3A} = s 'x' { '{' = s 'y' }"), S_OK);
  EXPECT_EQ(Value("\\{5E1B7C42-9D3A}"), "x");
  EXPECT_EQ(Value("\\{5E1B7C42-9D3A}\\{"), "y");
}

TEST_F(RegistryScript, AnotherRegistrationKeepsOtherValuesOfAKey) {
  ASSERT_EQ(Register("Key { Own }"), S_OK);
  ASSERT_EQ(Register("Key = s 'new' { Other }"), S_OK);
  EXPECT_TRUE(HasKey("\\Key\\Own"));
  EXPECT_TRUE(HasKey("\\Key\\Other"));
  EXPECT_EQ(Value("\\Key"), "new");
}

TEST_F(RegistryScript, ForceRemoveDeletesAnOlderKeyFirst) {
  ASSERT_EQ(Register("Key = s 'old' { Old { Deeper } val Name = s 'old' }"), S_OK);
  ASSERT_EQ(Register("ForceRemove Key { New }"), S_OK);
  EXPECT_FALSE(HasKey("\\Key\\Old"));
  EXPECT_EQ(Value("\\Key"), std::nullopt);
  EXPECT_EQ(Value("\\Key", "Name"), std::nullopt);
  EXPECT_TRUE(HasKey("\\Key\\New"));
}

TEST_F(RegistryScript, RemovalDeletesEveryNamedKeyWithItsContents) {
  const std::string script = "One = s '1' { Inner } ForceRemove Two NoRemove Three { Four }";
  ASSERT_EQ(Register(script), S_OK);
  ASSERT_EQ(Register("One { Foreign }"), S_OK);
  ASSERT_EQ(Unregister(script), S_OK);
  EXPECT_FALSE(HasKey("\\One"));
  EXPECT_FALSE(HasKey("\\Two"));
  EXPECT_TRUE(HasKey("\\Three"));
  EXPECT_FALSE(HasKey("\\Three\\Four"));
}

TEST_F(RegistryScript, RemovalLeavesOtherKeys) {
  ASSERT_EQ(Register("NoRemove CLSID { Ours Others { Deep } }"), S_OK);
  ASSERT_EQ(Unregister("NoRemove CLSID { Ours }"), S_OK);
  EXPECT_FALSE(HasKey("\\CLSID\\Ours"));
  EXPECT_TRUE(HasKey("\\CLSID\\Others\\Deep"));
}

TEST_F(RegistryScript, AKeyAboveAKeptOneStaysToo) {
  const std::string script = "Outer { Gone NoRemove Kept }";
  ASSERT_EQ(Register(script), S_OK);
  ASSERT_EQ(Unregister(script), S_OK);
  EXPECT_TRUE(HasKey("\\Outer\\Kept"));
  EXPECT_FALSE(HasKey("\\Outer\\Gone"));
}

TEST_F(RegistryScript, RemovalOfAMissingKeyIsNoFailure) {
  EXPECT_EQ(Unregister("One { Two } NoRemove Three { Four }"), S_OK);
  EXPECT_FALSE(HasKey("\\One"));
}

TEST_F(RegistryScript, ReturnsTheFirstFailureAndStops) {
  int created = 0;
  platform::ScopedReplacement<platform::registry, &platform::RegistryOperations::CreateKey> failing(
      [&](auto original, RegistryKey parent, const platform::WideChar* name, RegistryKey* key) {
        if (WideStringView(name) == QV_WIDE("Bad")) {
          *key = nullptr;
          return 5;  // ERROR_ACCESS_DENIED
        }
        ++created;
        return original(parent, name, key);
      });
  EXPECT_EQ(Register("Good Bad { Below } Never"), static_cast<HRESULT>(0x80070005));
  EXPECT_EQ(created, 2);  // the test's key and Good
  EXPECT_TRUE(HasKey("\\Good"));
  EXPECT_FALSE(HasKey("\\Never"));
}

TEST_F(RegistryScript, ReturnsTheFailureOfAValue) {
  platform::ScopedReplacement<platform::registry, &platform::RegistryOperations::SetString> failing(
      [](auto, auto...) { return 19; });
  EXPECT_EQ(Register("Key = s 'x'"), static_cast<HRESULT>(0x80070013));
}

TEST_F(RegistryScript, ReturnsTheFailureOfADeletion) {
  ASSERT_EQ(Register("Key"), S_OK);
  platform::ScopedReplacement<platform::registry, &platform::RegistryOperations::DeleteTree>
      failing([](auto, auto...) { return 5; });
  EXPECT_EQ(Register("ForceRemove Key"), static_cast<HRESULT>(0x80070005));
  EXPECT_EQ(Unregister("Key"), static_cast<HRESULT>(0x80070005));
}

TEST_F(RegistryScript, RejectsMalformedScriptsAndChangesNothing) {
  const std::string deep = [] {
    std::string text;
    for (int level = 0; level < 100; ++level) text += "k { ";
    for (int level = 0; level < 100; ++level) text += "} ";
    return text;
  }();
  const std::string entries[] = {
      "Before }",                  // one brace too many
      "Before Key {",              // one too few
      "Before Key = ",             // no text
      "Before Key = s",            //
      "Before Key = s { }",        //
      "Before Key = s {",          //
      "Before Key = d '1'",        // an unknown type
      "Before Key = 'x'",          // no type
      "Before = s 'a' = s 'b'",    // two texts
      "Before val",                // no name
      "Before val Name",           // no text
      "Before val '' = s 'x'",     // no name either
      "Before ''",                 // a key without a name
      "Before NoRemove",           // nothing to keep
      "Before ForceRemove { }",    //
      "Before 'a\\b'",             // two keys in one name
      "Before 'open",              // an unpaired quote
      "Before 'a'b",               // a quote in the middle of a word
      "Before %Unknown%",          // no replacement of that name
      "Before 100%",               // an unpaired per cent sign
      "Before Key = s '\x01'",     // no text at all
      "Before Key = s '\xC3\xA4'"  // not ASCII
  };
  for (const std::string& each : entries) {
    EXPECT_EQ(Register(each), platform::kMalformedRegistryScript) << each;
    EXPECT_EQ(Unregister(each), platform::kMalformedRegistryScript) << each;
  }
  EXPECT_EQ(Register("Before " + deep), platform::kMalformedRegistryScript);
  for (const char* const script : {"", " \r\n", "HKCR", "HKCR {", "HKCR Key", "{ }", "HKCR { } x",
                                   "HKCR { val Name = s 'x' }", "'HKCR' { Key }"}) {
    EXPECT_EQ(platform::RegisterByScript(script, m_replacements),
              platform::kMalformedRegistryScript)
        << script;
  }
  EXPECT_FALSE(HasKey(""));
}

TEST_F(RegistryScript, MalformedIsTheExceptionOfAutomation) {
  EXPECT_EQ(platform::kMalformedRegistryScript, static_cast<HRESULT>(0x80020009));
}

}  // namespace
