#include "config/configkeytable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <new>
#include <set>
#include <string>
#include <type_traits>

#include "config/configpatterns.h"

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
  EXPECT_FALSE(BuildsWith(0));
  EXPECT_FALSE(BuildsWith(1));
  EXPECT_TRUE(BuildsWith(2));
}

TEST(ConfigKeyTable, HasEightyRowsWithUniqueKeysOnBothSides) {
  std::set<std::string_view> internalKeys;
  std::set<std::string_view> publicKeys;
  for (const ConfigKey& row : g_configKeyTable) {
    internalKeys.insert(row.internalKey);
    publicKeys.insert(row.publicKey);
  }
  EXPECT_EQ(g_configKeyTable.size(), 80u);
  EXPECT_EQ(internalKeys.size(), 80u);
  EXPECT_EQ(publicKeys.size(), 80u);
}

TEST(ConfigKeyTable, HasThirtyThreePatternsOfWhichTheBooleanServesMostRows) {
  std::map<std::string_view, int> uses;
  for (const ConfigKey& row : g_configKeyTable) {
    ++uses[row.pattern];
  }
  EXPECT_EQ(uses.size(), 33u);
  EXPECT_EQ(uses[RE_BOOL], 37);
}

TEST(ConfigKeyTable, FindsEachRowByItsInternalKey) {
  for (const ConfigKey& row : g_configKeyTable) {
    EXPECT_EQ(g_configKeyTable.Find(row.internalKey), &row) << row.internalKey;
    // The same text somewhere else in memory.
    EXPECT_EQ(g_configKeyTable.Find(std::string(row.internalKey)), &row) << row.internalKey;
  }
}

TEST(ConfigKeyTable, PublicKeysAndKeysInLowerCaseFindNothing) {
  for (const ConfigKey& row : g_configKeyTable) {
    EXPECT_EQ(g_configKeyTable.Find(row.publicKey), nullptr) << row.publicKey;
    std::string lower(row.internalKey);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char character) { return std::tolower(character); });
    EXPECT_EQ(g_configKeyTable.Find(lower), nullptr) << lower;
  }
}

TEST(ConfigKeyTable, TextThatIsAlmostAKeyFindsNothing) {
  EXPECT_EQ(g_configKeyTable.Find(""), nullptr);
  EXPECT_EQ(g_configKeyTable.Find("USE_CHALLENGE_RESPONSE"), nullptr);
  EXPECT_EQ(g_configKeyTable.Find("INET_REPO_CLEAR_INTERVAL"), nullptr);
  for (const ConfigKey& row : g_configKeyTable) {
    const std::string key(row.internalKey);
    EXPECT_EQ(g_configKeyTable.Find(key + " "), nullptr) << key;
    EXPECT_EQ(g_configKeyTable.Find(key + '\0'), nullptr) << key;
    // As its ends are, so that only a comparison of the whole tells.
    std::string middle = key;
    middle.insert(middle.size() / 2, 40, '_');
    EXPECT_EQ(g_configKeyTable.Find(middle), nullptr) << middle;
  }
}

TEST(ConfigKeyTable, RowsComeInTheOrderOfTheirDefinition) {
  EXPECT_EQ(g_configKeyTable.begin()->internalKey, "IP_WLIST");
  EXPECT_EQ((g_configKeyTable.begin() + 26)->internalKey, "X_VALUE");
  EXPECT_EQ((g_configKeyTable.end() - 1)->internalKey, "WHITELIST_SFTP_SPECIAL_PROTOCOL");
}

TEST(ConfigKeyTable, NamesThatDoNotFollowTheirInternalKeyAreKept) {
  const std::map<std::string, std::string> odd = {
      {"IP_WLIST", "ip_white_list"},
      {"IP_BLIST", "ip_black_list"},
      {"INET_REPO_CLEAR_INTERVA", "inet_repo_clear_interval"},
      {"MULTIPART_SCAN", "use_multipart_scan"},
      {"TIMEOUT", "seconds_to_remember_inputs"},
      {"FILE_PFIX", "encrypted_filename_prefix"},
      {"CDDVD_MAXIMUM_ARCHIVE_SCAN_TIMEOUT", "maximum_archive_scan_timeout"},
      {"DECOMPRE_LAYER", "agent.decompress.max.file.layer"},
      {"DECOMPRE_FILE_COUNT", "agent.decompress.max.file.count"},
      {"DECOMPRE_FILE_COUNT_ALL_LAYER", "agent.decompress.max.file.count.all.layer"},
      {"DECOMPRE_SIZE", "agent.decompress.max.file.size"},
      {"MAX_FILE_SIZE", "ptSweeper.maxFileSize"},
  };
  for (const auto& [internalKey, publicKey] : odd) {
    const ConfigKey* const row = g_configKeyTable.Find(internalKey);
    ASSERT_NE(row, nullptr) << internalKey;
    EXPECT_EQ(row->publicKey, publicKey);
  }
}

TEST(ConfigKeyTable, HeaderSettingsOfTheTagHaveTheirRows) {
  const ConfigKey* const name = g_configKeyTable.Find("X_NAME");
  const ConfigKey* const value = g_configKeyTable.Find("X_VALUE");
  ASSERT_NE(name, nullptr);
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(name->publicKey, "x_name");
  EXPECT_EQ(name->pattern, RE_HEADER_NAME);
  EXPECT_EQ(value->publicKey, "x_value");
  EXPECT_EQ(value->pattern, RE_HEADER_VALUE);
}

TEST(ConfigKeyTable, KeysAndPatternsArePrintableAscii) {
  const auto printable = [](char character) { return character >= ' ' && character <= '~'; };
  for (const ConfigKey& row : g_configKeyTable) {
    EXPECT_TRUE(std::all_of(row.internalKey.begin(), row.internalKey.end(), printable));
    EXPECT_TRUE(std::all_of(row.publicKey.begin(), row.publicKey.end(), printable));
    EXPECT_TRUE(std::all_of(row.pattern.begin(), row.pattern.end(), printable)) << row.pattern;
  }
}

TEST(ConfigKeyTable, CannotBeChanged) {
  static_assert(std::is_const_v<decltype(g_configKeyTable)>);
  static_assert(std::is_const_v<std::remove_reference_t<decltype(*g_configKeyTable.begin())>>);
  static_assert(!std::is_copy_assignable_v<ConfigKeyTable>);
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
