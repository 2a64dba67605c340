// The registry in memory.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using platform::kClassesRoot;
using platform::registry;
using platform::RegistryKey;
using platform::WideChar;

// The system's error codes.
constexpr platform::RegistryResult kCodeNotFound = 2;
constexpr platform::RegistryResult kCodeInvalidHandle = 6;
constexpr platform::RegistryResult kCodeMoreData = 234;

class Registry : public testing::Test {
 protected:
  ~Registry() override { registry.DeleteTree(kClassesRoot, u"QuorvexTop"); }

  // Creates a key with the value "text" as its default.
  void Make(const WideChar* path) {
    RegistryKey key = nullptr;
    EXPECT_EQ(registry.CreateKey(kClassesRoot, path, &key), 0);
    EXPECT_EQ(registry.SetString(key, u"", u"text"), 0);
    registry.CloseKey(key);
  }

  // The default value of a key, or the error code as a number.
  std::u16string Read(const WideChar* path) {
    RegistryKey key = this;
    const auto opened = registry.OpenKey(kClassesRoot, path, &key);
    if (opened != 0) {
      EXPECT_EQ(key, nullptr);
      return {u'0', static_cast<WideChar>(u'0' + opened)};
    }
    WideChar text[8] = {};
    std::uint32_t size = 8;
    EXPECT_EQ(registry.GetString(key, u"", text, &size), 0);
    registry.CloseKey(key);
    EXPECT_EQ(size, std::u16string(text).size() + 1);
    return text;
  }
};

TEST_F(Registry, FindsAKeyByItsPathIgnoringTheCaseOfLettersOnly) {
  Make(u"QuorvexTop\\Below@Z\\Last");
  EXPECT_EQ(Read(u"quorvextop\\bELOW@z\\LAST"), u"text");
  EXPECT_EQ(Read(u"\\QuorvexTop\\\\Below@Z\\Last\\"), u"text");
  EXPECT_EQ(Read(u"QuorvexTop\\Below`Z\\Last"), u"02");
  EXPECT_EQ(Read(u"QuorvexTop\\Last"), u"02");
  EXPECT_EQ(Read(u"QuorvexTop\\Below@Z\\Last\\More"), u"02");
}

TEST_F(Registry, DeletesAKeyWithEverythingBelowIt) {
  Make(u"QuorvexTop\\One\\Below");
  Make(u"QuorvexTop\\Two");
  EXPECT_EQ(registry.DeleteTree(kClassesRoot, u"QuorvexTop\\One"), 0);
  EXPECT_EQ(Read(u"QuorvexTop\\One"), u"02");
  EXPECT_EQ(Read(u"QuorvexTop\\One\\Below"), u"02");
  EXPECT_EQ(Read(u"QuorvexTop\\Two"), u"text");
}

TEST_F(Registry, DeletesNothingIfTheKeyIsMissing) {
  Make(u"QuorvexTop\\One");
  EXPECT_EQ(registry.DeleteTree(kClassesRoot, u"QuorvexTop\\One\\Missing"), kCodeNotFound);
  EXPECT_EQ(registry.DeleteTree(kClassesRoot, u"QuorvexTop\\Missing\\One"), kCodeNotFound);
  EXPECT_EQ(registry.DeleteTree(kClassesRoot, u""), kCodeNotFound);
  EXPECT_EQ(Read(u"QuorvexTop\\One"), u"text");
}

TEST_F(Registry, ReportsTheSizeOfAValueThatDoesNotFit) {
  RegistryKey key = nullptr;
  ASSERT_EQ(registry.CreateKey(kClassesRoot, u"QuorvexTop", &key), 0);
  ASSERT_EQ(registry.SetString(key, u"Name", u"12345"), 0);
  WideChar text[] = u"######";
  std::uint32_t size = 5;
  EXPECT_EQ(registry.GetString(key, u"NAME", text, &size), kCodeMoreData);
  EXPECT_EQ(size, 6u);
  EXPECT_EQ(std::u16string(text), u"######");
  EXPECT_EQ(registry.GetString(key, u"Name", text, &size), 0);
  EXPECT_EQ(std::u16string(text), u"12345");
  EXPECT_EQ(registry.GetString(key, u"Other", text, &size), kCodeNotFound);
  registry.CloseKey(key);
}

TEST_F(Registry, RejectsHandlesThatAreNotOpen) {
  RegistryKey closed = nullptr;
  ASSERT_EQ(registry.CreateKey(kClassesRoot, u"QuorvexTop", &closed), 0);
  registry.CloseKey(closed);
  registry.CloseKey(closed);
  registry.CloseKey(nullptr);
  RegistryKey key = this;
  WideChar text[8] = {};
  std::uint32_t size = 8;
  EXPECT_EQ(registry.CreateKey(closed, u"A", &key), kCodeInvalidHandle);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(registry.OpenKey(closed, u"A", &key), kCodeInvalidHandle);
  EXPECT_EQ(registry.DeleteTree(closed, u"A"), kCodeInvalidHandle);
  EXPECT_EQ(registry.SetString(closed, u"A", u"a"), kCodeInvalidHandle);
  EXPECT_EQ(registry.GetString(closed, u"A", text, &size), kCodeInvalidHandle);
}

}  // namespace
