#include "config/configkeytable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <new>
#include <string>
#include <type_traits>

#include "config/configpatterns.h"
#include "tests/config/expectedsettings.h"

namespace {

// How many more allocations succeed; negative: all of them.
int g_allocationsLeft = -1;

}  // namespace

void* operator new(std::size_t size) {
  if (g_allocationsLeft == 0) throw std::bad_alloc();
  if (g_allocationsLeft > 0) --g_allocationsLeft;
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

static_assert(std::is_const_v<decltype(g_configKeyTable)>);
static_assert(std::is_const_v<std::remove_reference_t<decltype(*g_configKeyTable.begin())>>);
static_assert(!std::is_copy_assignable_v<ConfigKeyTable>);

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char character) { return std::tolower(character); });
  return lower;
}

// Whether the table can be built while only so many allocations succeed.
bool BuildsWith(int allocations) {
  bool built = false;
  g_allocationsLeft = allocations;
  try {
    const ConfigKeyTable table;
    built = true;
  } catch (const std::bad_alloc&) {
    built = false;
  }
  g_allocationsLeft = -1;
  return built;
}

TEST(ConfigKeyTable, FailureOfAnyAllocationComesOutOfItsConstruction) {
  int needed = 0;
  while (needed < 1000 && !BuildsWith(needed)) ++needed;
  // A map of 80 settings takes memory for each.
  EXPECT_GE(needed, 80);
  EXPECT_LT(needed, 1000);
}

TEST(ConfigKeyTable, HasTheseRowsInThisOrder) {
  ASSERT_EQ(g_configKeyTable.size(), std::size(tests::kExpectedSettings));
  const ConfigKey* row = g_configKeyTable.begin();
  for (const tests::ExpectedSetting& expected : tests::kExpectedSettings) {
    EXPECT_EQ(row->internalKey, expected.internalKey);
    EXPECT_EQ(row->publicKey, expected.publicKey) << expected.internalKey;
    EXPECT_EQ(row->pattern, expected.pattern) << expected.internalKey;
    ++row;
  }
  EXPECT_EQ(row, g_configKeyTable.end());
}

TEST(ConfigKeyTable, FindsEachRowByItsInternalKey) {
  for (const ConfigKey& row : g_configKeyTable) {
    EXPECT_EQ(g_configKeyTable.Find(row.internalKey), &row) << row.internalKey;
    // Equal text at another address.
    EXPECT_EQ(g_configKeyTable.Find(std::string(row.internalKey)), &row) << row.internalKey;
  }
}

TEST(ConfigKeyTable, PublicKeysAndKeysInLowerCaseFindNothing) {
  for (const ConfigKey& row : g_configKeyTable) {
    EXPECT_EQ(g_configKeyTable.Find(row.publicKey), nullptr) << row.publicKey;
    const std::string lower = LowerCase(row.internalKey);
    EXPECT_EQ(g_configKeyTable.Find(lower), nullptr) << lower;
  }
}

TEST(ConfigKeyTable, AlmostAKeyFindsNothing) {
  EXPECT_EQ(g_configKeyTable.Find(""), nullptr);
  EXPECT_EQ(g_configKeyTable.Find("USE_CHALLENGE_RESPONSE"), nullptr);
  EXPECT_EQ(g_configKeyTable.Find("INET_REPO_CLEAR_INTERVAL"), nullptr);
  for (const ConfigKey& row : g_configKeyTable) {
    const std::string key(row.internalKey);
    EXPECT_EQ(g_configKeyTable.Find(key + " "), nullptr) << key;
    EXPECT_EQ(g_configKeyTable.Find(key + '\0'), nullptr) << key;
    EXPECT_EQ(g_configKeyTable.Find(key.substr(0, key.size() - 1)), nullptr) << key;
  }
}

TEST(ConfigKeyTable, TextsOfARowOutliveTheTable) {
  ConfigKey copy;
  {
    const ConfigKeyTable another;
    copy = *another.Find("HIDE_ME");
  }
  EXPECT_EQ(copy.publicKey, "hide_me");
  EXPECT_EQ(copy.pattern, RE_BOOL);
}

}  // namespace
