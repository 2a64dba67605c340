// Patterns for the values of the agent's settings: one regular expression each.
//
// The product doesn't run them. An engine must support non-capturing groups, lookahead and
// lookbehind, POSIX classes inside brackets, \s, \d and \w, and a closing bracket as the first
// member of a set. Numbers are decimal digits without sign or leading zeros, and white space is
// allowed at both ends, unless a comment says otherwise; RE_WIN_PATH, RE_FILE_PREFIX and
// RE_DOMAIN_LIST allow none. Deployed agents use exactly these texts, so the odd ones stay.
#pragma once

#include <string_view>

// clang-format off: one pattern, one literal, however long

// A path with a drive letter: letter, colon, then segments separated by "/" or "\", without control
// characters or characters that Windows forbids in names, and without white space next to a
// separator. May end with a separator. Needs lookbehind.
inline constexpr std::string_view RE_WIN_PATH =
    R"re(^(?:[A-Za-z]:)(?:(?<!\s)(?:/|\\)(?!\s)[^\\/:*?"<>|\x00-\x1f]+)*(?:(?<!\s)(?:\\|/))?$)re";

// true or false, lower case only.
inline constexpr std::string_view RE_BOOL = R"re(^\s*(true|false)\s*$)re";

// true, false or null, lower case only.
inline constexpr std::string_view RE_BOOL_NULL = R"re(^\s*(true|false|null)\s*$)re";

// 0 to 2147483647.
inline constexpr std::string_view RE_INT32 =
    R"re(^\s*(?:214748364[0-7]|21474836[0-3]\d{1}|2147483[0-5]\d{2}|214748[0-2]\d{3}|21474[0-7]\d{4}|2147[0-3]\d{5}|214[0-6]\d{6}|21[0-3]\d{7}|20\d{8}|1\d{9}|[1-9]\d{0,8}|0)\s*$)re";

// 0 to 3600.
inline constexpr std::string_view RE_0_3600 =
    R"re(^\s*(?:3600|3[0-5]\d{2}|[1-2]\d{3}|[1-9]\d{0,2}|0)\s*$)re";

// 5 to 180.
inline constexpr std::string_view RE_5_180 = R"re(^\s*(?:180|1[0-7]\d|[1-9]\d|[5-9])\s*$)re";

// 1 to 20.
inline constexpr std::string_view RE_1_20 = R"re(^\s*(?:20|1\d|[1-9])\s*$)re";

// 0 to 30.
inline constexpr std::string_view RE_0_30 = R"re(^\s*(?:30|[1-2]\d|[0-9])\s*$)re";

// 1 to 5000.
inline constexpr std::string_view RE_1_5000 = R"re(^\s*(?:5000|[1-4]\d{3}|[1-9]\d{0,2})\s*$)re";

// 1 to 4999, and 10000.
inline constexpr std::string_view RE_1_10000 = R"re(^\s*(?:10000|[1-4]\d{3}|[1-9]\d{0,2})\s*$)re";

// 1 to 524288.
inline constexpr std::string_view RE_1_524288 =
    R"re(^\s*(?:524288|52428[0-7]|5242[0-7]\d{1}|524[0-1]\d{2}|52[0-3]\d{3}|5[0-1]\d{4}|[1-4]\d{5}|[1-9]\d{0,4})\s*$)re";

// 0 to 1073741824.
inline constexpr std::string_view RE_0_1G =
    R"re(^\s*(?:1073741824|107374182[0-3]|10737418[0-1]\d{1}|1073741[0-7]\d{2}|107374[0]\d{3}|10737[0-3]\d{4}|1073[0-6]\d{5}|107[0-2]\d{6}|10[0-6]\d{7}|[1-9]\d{0,8}|0)\s*$)re";

// 0 to 10485760.
inline constexpr std::string_view RE_0_10M =
    R"re(^\s*(?:10485760|104857[0-5]\d{1}|10485[0-6]\d{2}|1048[0-4]\d{3}|104[0-7]\d{4}|10[0-3]\d{5}|[1-9]\d{0,6}|0)\s*$)re";

// One or more characters except the listed punctuation.
inline constexpr std::string_view RE_FILE_PREFIX = R"re(^[^><*,[\]{}?\\/+=|'":;~!#\$%\(\)`]+$)re";

// Items of letters, digits, white space and the listed punctuation, separated by commas.
inline constexpr std::string_view RE_DOMAIN_LIST =
    R"re(^(?:[A-Za-z0-9;:/=._%+',/\?\-@\(\)\s]+)(?:,[A-Za-z0-9;:/=._%+',/\?\-@\(\)\s]+)*$)re";

// v1 or v2.
inline constexpr std::string_view RE_V1_V2 = R"re(^\s*(v1|v2)\s*$)re";

// 0 to 76800.
inline constexpr std::string_view RE_0_76800 =
    R"re(^\s*(?:76800|76[0-7]\d{2}|7[0-5]\d{3}|[1-6]\d{4}|[1-9]\d{0,3}|0)\s*$)re";

// 0 to 300; two digits may begin with a zero.
inline constexpr std::string_view RE_0_300 = R"re(^\s*(?:300|[1-2]\d{2}|[0-9]\d{0,1})\s*$)re";

// 1 to 10.
inline constexpr std::string_view RE_1_10 = R"re(^\s*(?:10|[1-9])\s*$)re";

// 8 to 64 printable characters, no white space.
inline constexpr std::string_view RE_GRAPH_8_64 = R"re(^\s*[[:graph:]]{8,64}\s*$)re";

// 1 to 50 printable characters, no white space and no colon.
inline constexpr std::string_view RE_HEADER_NAME = R"re(^\s*((?!:)[[:graph:]]){1,50}\s*$)re";

// 1 to 100 characters, printable or white space.
inline constexpr std::string_view RE_HEADER_VALUE = R"re(^\s*([[:graph:]]|\s){1,100}\s*$)re";

// Any number of addresses separated by commas. An address is an optional "[", groups of up to four
// word characters ended by "." or ":", an optional "/" and prefix length, an optional "]", then any
// number of ":" and a port from 1 to 65535; a port of up to four digits may be followed by "-".
// Backtracking is unbounded: match with a limit.
inline constexpr std::string_view RE_IP_LIST =
    R"re(^\s*(?:[[]?(?:[a-zA-Z0-9_\-]{0,4}[\.:]?)*[/]?(?:[1][0-2][0-8]|[1-9][0-9]|[0-9])?[]]?(?:[:](?:6553[0-5]|655[0-2]\d|65[0-4]\d{2}|6[0-4]\d{3}|[1-5]\d{4}|[1-9]\d{0,3}[\-]?))*[,]?)*\s*$)re";

// Dotted host names separated by commas.
inline constexpr std::string_view RE_HOST_LIST =
    R"re(^\s*([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*)(\,([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*))*\s*$)re";

// A single "*", or dotted host names separated by commas.
inline constexpr std::string_view RE_HOST_LIST_OR_ALL =
    R"re(^\s*(\*|([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*)(\,([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*))*)\s*$)re";

// pipe or funccall.
inline constexpr std::string_view RE_PIPE_FUNCCALL = R"re(^\s*(pipe|funccall)\s*$)re";

// 0 to 8760, or NOREPEAT in capitals; also the empty text, and up to three digits with leading
// zeros.
inline constexpr std::string_view RE_HOURS_NOREPEAT =
    R"re(^\s*(?:8760|87[0-5]\d{1}|8[0-6]\d{2}|[1-7]\d{3}|\d{0,3}|NOREPEAT)\s*$)re";

// 1 to 50.
inline constexpr std::string_view RE_1_50 = R"re(^\s*(?:50|[1-4]\d|[1-9])\s*$)re";

// 2 to 10.
inline constexpr std::string_view RE_2_10 = R"re(^\s*(?:10|[2-9])\s*$)re";

// 1 to 600.
inline constexpr std::string_view RE_1_600 = R"re(^\s*(?:600|[1-9]\d|[1-9]|[1-5]\d\d)\s*$)re";

// At least four word characters or listed characters, as in a device id.
inline constexpr std::string_view RE_DEVICE_ID = R"re(^\s*([\w\-.#&_{}\\,]{4,})\s*$)re";

// One or more letters, digits or listed characters, including the comma.
inline constexpr std::string_view RE_SKIP_NAME =
    R"re(^\s*([A-Za-z,\.\_\-\@\~\#\$\%\#\+\=\|\^\d\\]+)\s*$)re";

// Names of word characters, "-" and ".", separated by "|".
inline constexpr std::string_view RE_PIPE_LIST = R"re(^\s*([\w\-\.]+(\|[\w\-\.]+)*)\s*$)re";
// clang-format on
