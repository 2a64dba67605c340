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
    const std::string lower = LowerCase(row.internalKey);
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

TEST(ConfigKeyTable, PublicKeysAreTheInternalOnesInLowerCaseButForThese) {
  const std::map<std::string_view, std::string_view> odd = {
      {"IP_WLIST", "ip_white_list"},
      {"IP_BLIST", "ip_black_list"},
      {"FILE_PFIX", "encrypted_filename_prefix"},
      {"TIMEOUT", "seconds_to_remember_inputs"},
      {"DECOMPRE_LAYER", "agent.decompress.max.file.layer"},
      {"DECOMPRE_FILE_COUNT", "agent.decompress.max.file.count"},
      {"DECOMPRE_FILE_COUNT_ALL_LAYER", "agent.decompress.max.file.count.all.layer"},
      {"DECOMPRE_SIZE", "agent.decompress.max.file.size"},
      {"MAX_FILE_SIZE", "ptSweeper.maxFileSize"},
      {"MAX_CHECK_FILESIZE", "max_check_size_kbytes"},
      {"PW_EXPIRATION", "password_expiration"},
      {"DLOG_TIMEOUT", "dialogs_timeout"},
      {"FORENSIC_DATA_PATH", "sdk_forensic_data_path"},
      {"DISCOVERY_REPORT_PATH", "sdk_discovery_report_path"},
      {"DISCOVERY_PASSWORD", "sdk_discovery_password"},
      {"INTERNAL_DOMAIN", "internal_email_domain"},
      {"LDAP_TTL", "ldap_cache_ttl"},
      {"INET_REPO_CLEAR_INTERVA", "inet_repo_clear_interval"},
      {"MULTIPART_SCAN", "use_multipart_scan"},
      {"CDDVD_MAXIMUM_ARCHIVE_SCAN_TIMEOUT", "maximum_archive_scan_timeout"},
  };
  std::size_t met = 0;
  for (const ConfigKey& row : g_configKeyTable) {
    const auto found = odd.find(row.internalKey);
    met += found != odd.end() ? 1 : 0;
    EXPECT_EQ(row.publicKey, found != odd.end() ? found->second : LowerCase(row.internalKey));
  }
  EXPECT_EQ(met, odd.size());
}

TEST(ConfigKeyTable, SettingsAreBooleansButForThese) {
  const std::map<std::string_view, std::string_view> others = {
      {"IP_WLIST", RE_IP_LIST},
      {"IP_BLIST", RE_IP_LIST},
      {"FILE_PFIX", RE_FILE_PREFIX},
      {"TIMEOUT", RE_0_3600},
      {"DECOMPRE_LAYER", RE_1_20},
      {"DECOMPRE_FILE_COUNT", RE_1_5000},
      {"DECOMPRE_FILE_COUNT_ALL_LAYER", RE_1_10000},
      {"DECOMPRE_SIZE", RE_1_524288},
      {"MAX_FILE_SIZE", RE_0_1G},
      {"MAX_CHECK_FILESIZE", RE_0_1G},
      {"PW_EXPIRATION", RE_0_3600},
      {"DLOG_TIMEOUT", RE_5_180},
      {"MAX_FORENSIC_DATA_SIZE", RE_0_1G},
      {"FORENSIC_DATA_PATH", RE_WIN_PATH},
      {"DISCOVERY_REPORT_PATH", RE_WIN_PATH},
      {"DISCOVERY_PASSWORD", RE_GRAPH_8_64},
      {"INTERNAL_DOMAIN", RE_DOMAIN_LIST},
      {"LDAP_TTL", RE_INT32},
      {"MAX_ARCHIVE_FILE_SIZE", RE_0_10M},
      {"MAX_TXT_FILE_SIZE", RE_0_76800},
      {"FQDN_PERIOD", RE_INT32},
      {"QSCAN_DLL_PATH", RE_WIN_PATH},
      {"X_NAME", RE_HEADER_NAME},
      {"X_VALUE", RE_HEADER_VALUE},
      {"LOG_REPORT_TYPE", RE_V1_V2},
      {"CLIPBOARD_IDLE_TIME", RE_0_30},
      {"INET_REPO_CLEAR_INTERVA", RE_INT32},
      {"HTTP_FILE_SKIP_TIME", RE_0_300},
      {"MAX_MATCH_CONTENT_NUMBER", RE_1_10},
      {"CONVERTER_CALL_METHOD", RE_PIPE_FUNCCALL},
      {"ENABLE_CHROME_QUIC", RE_BOOL_NULL},
      {"FREQ_WPD_DEVCTRL_VIOLATION", RE_HOURS_NOREPEAT},
      {"CONVERTER_MAX_TIMEOUT", RE_1_50},
      {"BYPASS_DNS_RESOLVE_WEBSITES", RE_HOST_LIST},
      {"MONITOR_FILE_UPLOAD_WEBSITES", RE_HOST_LIST_OR_ALL},
      {"CDDVD_MAXIMUM_ARCHIVE_SCAN_TIMEOUT", RE_2_10},
      {"PARSER_MONITOR_LIST", RE_HOST_LIST_OR_ALL},
      {"NERO_HANDLER_SCAN_WAIT_TIME", RE_1_600},
      {"POWER2GO_HANDLER_SCAN_WAIT_TIME", RE_1_600},
      {"DEVICE_ID_BLOCK", RE_DEVICE_ID},
      {"DEVICE_ID_ALLOW", RE_DEVICE_ID},
      {"SKIP_FILE_NAME", RE_SKIP_NAME},
      {"ONEDRIVE_SKIP_ORG", RE_PIPE_LIST},
  };
  std::size_t met = 0;
  for (const ConfigKey& row : g_configKeyTable) {
    const auto found = others.find(row.internalKey);
    met += found != others.end() ? 1 : 0;
    EXPECT_EQ(row.pattern, found != others.end() ? found->second : RE_BOOL) << row.internalKey;
  }
  EXPECT_EQ(met, others.size());
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
