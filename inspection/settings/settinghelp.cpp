#include "inspection/settings/settinghelp.h"

#include <array>
#include <vector>

#include "config/configpatterns.h"
#include "config/profilereader.h"
#include "text/suggestion.h"

namespace inspection::settings {

namespace {

// Examples of one kind; the empty places at the end don't count.
using Examples = std::array<std::string_view, 3>;

struct PatternHelp {
  std::string_view pattern;
  std::string_view accepted;
  Examples matches;
  Examples refused;
};

constexpr std::string_view k64 = "0123456789012345678901234567890123456789012345678901234567890123";
constexpr std::string_view k65 =
    "01234567890123456789012345678901234567890123456789012345678901234";
constexpr std::string_view k101 =
    "01234567890123456789012345678901234567890123456789"
    "012345678901234567890123456789012345678901234567890";

constexpr PatternHelp kHelp[] = {
    {RE_WIN_PATH,
     "a path with a drive letter, no white space next to a \"\\\" or \"/\"",
     {R"(C:\data\reports)", R"(D:/logs/)", R"(C:)"},
     {R"(\\server\share)", R"(C:\ data)", R"(C:\a?b)"}},
    {RE_BOOL, "true or false, in lower case", {"true", "false"}, {"True", "1", "yes"}},
    {RE_BOOL_NULL, "true, false or null, in lower case", {"true", "false", "null"}, {"NULL", "0"}},
    {RE_INT32, "0 to 2147483647", {"0", "2147483647"}, {"2147483648", "-1", "007"}},
    {RE_0_3600, "0 to 3600", {"0", "3600"}, {"3601", "-1", "060"}},
    {RE_5_180, "5 to 180", {"5", "180"}, {"4", "181"}},
    {RE_1_20, "1 to 20", {"1", "20"}, {"0", "21"}},
    {RE_0_30, "0 to 30", {"0", "30"}, {"31", "05"}},
    {RE_1_5000, "1 to 5000", {"1", "5000"}, {"0", "5001"}},
    {RE_1_10000,
     "1 to 4999, or 10000; nothing between",
     {"1", "4999", "10000"},
     {"5000", "9999", "10001"}},
    {RE_1_524288, "1 to 524288", {"1", "524288"}, {"0", "524289"}},
    {RE_0_1G, "0 to 1073741824", {"0", "1073741824"}, {"1073741825", "1G"}},
    {RE_0_10M, "0 to 10485760", {"0", "10485760"}, {"10485770", "10M"}},
    {RE_FILE_PREFIX,
     "one or more characters, none of > < * , [ ] { } ? \\ / + = | ' \" : ; ~ ! # $ % ( ) `",
     {"ENC_", "secret "},
     {"a*", "a/b"}},
    {RE_DOMAIN_LIST,
     "items divided by commas, of letters, digits, white space and ; : / = . _ % + ' ? - @ ( )",
     {"example.com", "example.com, mail.example.org"},
     {"example.com|example.org", "*.example.com"}},
    {RE_V1_V2, "v1 or v2", {"v1", "v2"}, {"v3", "V1"}},
    {RE_0_76800, "0 to 76800", {"0", "76800"}, {"76801", "-1"}},
    {RE_0_300, "0 to 300; two digits may begin with a zero", {"0", "05", "300"}, {"301", "005"}},
    {RE_1_10, "1 to 10", {"1", "10"}, {"0", "11"}},
    {RE_GRAPH_8_64,
     "8 to 64 printable ASCII characters, no white space",
     {"pass-word", k64},
     {"2short", "pass word", k65}},
    {RE_HEADER_NAME,
     "1 to 50 printable ASCII characters, no white space and no colon",
     {"X-Sensitivity"},
     {"X-Name:", "X Name", k64}},
    {RE_HEADER_VALUE,
     "1 to 100 characters, printable ASCII or white space",
     {"company confidential"},
     {k101}},
    {RE_IP_LIST,
     "addresses divided by commas, each with a prefix length or ports at will",
     {"10.0.0.1", "10.0.0.0/8,192.168.1.1:8080", "[fe80::1]:443"},
     {"*", "a;b"}},
    {RE_HOST_LIST,
     "host names divided by commas, without blanks",
     {"www.example.com", "a.example,b.example"},
     {"*", "a.example, b.example", "*.example.com"}},
    {RE_HOST_LIST_OR_ALL,
     "a single *, or host names divided by commas, without blanks",
     {"*", "www.example.com", "a.example,b.example"},
     {"*.example.com", "a.example, b.example"}},
    {RE_PIPE_FUNCCALL, "pipe or funccall", {"pipe", "funccall"}, {"Pipe", "call"}},
    {RE_HOURS_NOREPEAT,
     "0 to 8760, nothing at all, or NOREPEAT in capitals",
     {"8760", "007", "NOREPEAT"},
     {"8761", "norepeat", "0024"}},
    {RE_1_50, "1 to 50", {"1", "50"}, {"0", "51"}},
    {RE_2_10, "2 to 10", {"2", "10"}, {"1", "11"}},
    {RE_1_600, "1 to 600", {"1", "600"}, {"0", "601"}},
    {RE_DEVICE_ID,
     "four or more letters, digits or characters of _ - . # & { } \\ ,",
     {R"(USB\VID_0781&PID_5567)"},
     {"USB", "USB/VID_0781"}},
    {RE_SKIP_NAME,
     "one or more letters, digits or characters of , . _ - @ ~ # $ % + = | ^ \\",
     {"thumbs.db", "~$a.tmp,desktop.ini"},
     {"my file", "*.tmp"}},
    {RE_PIPE_LIST,
     "names of letters, digits, _ - and . divided by |",
     {"contoso", "contoso|fabrikam.org"},
     {"contoso,fabrikam", "contoso|"}},
};

std::span<const std::string_view> Filled(const Examples& examples) {
  std::size_t count = 0;
  while (count < examples.size() && !examples[count].empty()) ++count;
  return {examples.data(), count};
}

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  ToLowerInPlace(lowered);
  return lowered;
}

}  // namespace

const SettingHelp& HelpOn(const ConfigKey& setting) {
  static const std::vector<SettingHelp> kAll = [] {
    std::vector<SettingHelp> all;
    for (const PatternHelp& help : kHelp) {
      all.push_back({help.accepted, Filled(help.matches), Filled(help.refused)});
    }
    return all;
  }();
  static constexpr SettingHelp kNone{"whatever its pattern matches", {}, {}};
  for (std::size_t i = 0; i < std::size(kHelp); ++i) {
    if (kHelp[i].pattern == setting.pattern) return kAll[i];
  }
  return kNone;
}

std::string AsWritten(std::string_view value) {
  std::string written;
  for (const char c : value) written.append(c == '\\' ? 2 : 1, c);
  return written;
}

const ConfigKey* FindByPublicKey(std::string_view key) {
  const std::string wanted = Lowered(key);
  for (const ConfigKey& setting : g_configKeyTable) {
    if (Lowered(setting.publicKey) == wanted) return &setting;
  }
  return nullptr;
}

const AddInSetting* FindAddInSetting(std::string_view key) {
  for (const AddInSetting& setting : kAddInSettings) {
    if (setting.key == Lowered(key)) return &setting;
  }
  return nullptr;
}

std::string SuggestedKey(std::string_view key) {
  std::vector<std::string_view> known{kChallengeKey};
  for (const ConfigKey& setting : g_configKeyTable) known.push_back(setting.publicKey);
  // No known key has half this length, so a longer one isn't a misspelling.
  return key.size() > 100 ? std::string() : Suggestion(key, known);
}

}  // namespace inspection::settings
