// The settings as the agents in the field know them, written out a second time so that a slip in
// the table shows.
#pragma once

#include <string_view>

namespace tests {

struct ExpectedSetting {
  std::string_view internalKey;
  std::string_view publicKey;
  std::string_view pattern;
};

// clang-format off: one pattern, one literal, however long
inline constexpr std::string_view kWinPath =
    R"re(^(?:[A-Za-z]:)(?:(?<!\s)(?:/|\\)(?!\s)[^\\/:*?"<>|\x00-\x1f]+)*(?:(?<!\s)(?:\\|/))?$)re";
inline constexpr std::string_view kBool = R"re(^\s*(true|false)\s*$)re";
inline constexpr std::string_view kBoolNull = R"re(^\s*(true|false|null)\s*$)re";
inline constexpr std::string_view kInt32 =
    R"re(^\s*(?:214748364[0-7]|21474836[0-3]\d{1}|2147483[0-5]\d{2}|214748[0-2]\d{3}|21474[0-7]\d{4}|2147[0-3]\d{5}|214[0-6]\d{6}|21[0-3]\d{7}|20\d{8}|1\d{9}|[1-9]\d{0,8}|0)\s*$)re";
inline constexpr std::string_view k03600 =
    R"re(^\s*(?:3600|3[0-5]\d{2}|[1-2]\d{3}|[1-9]\d{0,2}|0)\s*$)re";
inline constexpr std::string_view k5180 = R"re(^\s*(?:180|1[0-7]\d|[1-9]\d|[5-9])\s*$)re";
inline constexpr std::string_view k120 = R"re(^\s*(?:20|1\d|[1-9])\s*$)re";
inline constexpr std::string_view k030 = R"re(^\s*(?:30|[1-2]\d|[0-9])\s*$)re";
inline constexpr std::string_view k15000 = R"re(^\s*(?:5000|[1-4]\d{3}|[1-9]\d{0,2})\s*$)re";
inline constexpr std::string_view k110000 = R"re(^\s*(?:10000|[1-4]\d{3}|[1-9]\d{0,2})\s*$)re";
inline constexpr std::string_view k1524288 =
    R"re(^\s*(?:524288|52428[0-7]|5242[0-7]\d{1}|524[0-1]\d{2}|52[0-3]\d{3}|5[0-1]\d{4}|[1-4]\d{5}|[1-9]\d{0,4})\s*$)re";
inline constexpr std::string_view k01g =
    R"re(^\s*(?:1073741824|107374182[0-3]|10737418[0-1]\d{1}|1073741[0-7]\d{2}|107374[0]\d{3}|10737[0-3]\d{4}|1073[0-6]\d{5}|107[0-2]\d{6}|10[0-6]\d{7}|[1-9]\d{0,8}|0)\s*$)re";
inline constexpr std::string_view k010m =
    R"re(^\s*(?:10485760|104857[0-5]\d{1}|10485[0-6]\d{2}|1048[0-4]\d{3}|104[0-7]\d{4}|10[0-3]\d{5}|[1-9]\d{0,6}|0)\s*$)re";
inline constexpr std::string_view kFilePrefix = R"re(^[^><*,[\]{}?\\/+=|'":;~!#\$%\(\)`]+$)re";
inline constexpr std::string_view kDomainList =
    R"re(^(?:[A-Za-z0-9;:/=._%+',/\?\-@\(\)\s]+)(?:,[A-Za-z0-9;:/=._%+',/\?\-@\(\)\s]+)*$)re";
inline constexpr std::string_view kV1V2 = R"re(^\s*(v1|v2)\s*$)re";
inline constexpr std::string_view k076800 =
    R"re(^\s*(?:76800|76[0-7]\d{2}|7[0-5]\d{3}|[1-6]\d{4}|[1-9]\d{0,3}|0)\s*$)re";
inline constexpr std::string_view k0300 = R"re(^\s*(?:300|[1-2]\d{2}|[0-9]\d{0,1})\s*$)re";
inline constexpr std::string_view k110 = R"re(^\s*(?:10|[1-9])\s*$)re";
inline constexpr std::string_view kGraph864 = R"re(^\s*[[:graph:]]{8,64}\s*$)re";
inline constexpr std::string_view kHeaderName = R"re(^\s*((?!:)[[:graph:]]){1,50}\s*$)re";
inline constexpr std::string_view kHeaderValue = R"re(^\s*([[:graph:]]|\s){1,100}\s*$)re";
inline constexpr std::string_view kIpList =
    R"re(^\s*(?:[[]?(?:[a-zA-Z0-9_\-]{0,4}[\.:]?)*[/]?(?:[1][0-2][0-8]|[1-9][0-9]|[0-9])?[]]?(?:[:](?:6553[0-5]|655[0-2]\d|65[0-4]\d{2}|6[0-4]\d{3}|[1-5]\d{4}|[1-9]\d{0,3}[\-]?))*[,]?)*\s*$)re";
inline constexpr std::string_view kHostList =
    R"re(^\s*([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*)(\,([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*))*\s*$)re";
inline constexpr std::string_view kHostListOrAll =
    R"re(^\s*(\*|([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*)(\,([a-zA-Z0-9\-]+(\.[a-zA-Z0-9\-]+)*))*)\s*$)re";
inline constexpr std::string_view kPipeFunccall = R"re(^\s*(pipe|funccall)\s*$)re";
inline constexpr std::string_view kHoursNorepeat =
    R"re(^\s*(?:8760|87[0-5]\d{1}|8[0-6]\d{2}|[1-7]\d{3}|\d{0,3}|NOREPEAT)\s*$)re";
inline constexpr std::string_view k150 = R"re(^\s*(?:50|[1-4]\d|[1-9])\s*$)re";
inline constexpr std::string_view k210 = R"re(^\s*(?:10|[2-9])\s*$)re";
inline constexpr std::string_view k1600 = R"re(^\s*(?:600|[1-9]\d|[1-9]|[1-5]\d\d)\s*$)re";
inline constexpr std::string_view kDeviceId = R"re(^\s*([\w\-.#&_{}\\,]{4,})\s*$)re";
inline constexpr std::string_view kSkipName =
    R"re(^\s*([A-Za-z,\.\_\-\@\~\#\$\%\#\+\=\|\^\d\\]+)\s*$)re";
inline constexpr std::string_view kPipeList = R"re(^\s*([\w\-\.]+(\|[\w\-\.]+)*)\s*$)re";
// clang-format on

inline constexpr ExpectedSetting kExpectedSettings[] = {
    {"IP_WLIST", "ip_white_list", kIpList},
    {"IP_BLIST", "ip_black_list", kIpList},
    {"FILE_PFIX", "encrypted_filename_prefix", kFilePrefix},
    {"TIMEOUT", "seconds_to_remember_inputs", k03600},
    {"DECOMPRE_LAYER", "agent.decompress.max.file.layer", k120},
    {"DECOMPRE_FILE_COUNT", "agent.decompress.max.file.count", k15000},
    {"DECOMPRE_FILE_COUNT_ALL_LAYER", "agent.decompress.max.file.count.all.layer", k110000},
    {"DECOMPRE_SIZE", "agent.decompress.max.file.size", k1524288},
    {"MAX_FILE_SIZE", "ptSweeper.maxFileSize", k01g},
    {"MAX_CHECK_FILESIZE", "max_check_size_kbytes", k01g},
    {"PW_EXPIRATION", "password_expiration", k03600},
    {"DLOG_TIMEOUT", "dialogs_timeout", k5180},
    {"HIDE_ME", "hide_me", kBool},
    {"DISABLE_STOP", "disable_stop", kBool},
    {"MAX_FORENSIC_DATA_SIZE", "max_forensic_data_size", k01g},
    {"FORENSIC_DATA_PATH", "sdk_forensic_data_path", kWinPath},
    {"DISCOVERY_REPORT_PATH", "sdk_discovery_report_path", kWinPath},
    {"DISCOVERY_PASSWORD", "sdk_discovery_password", kGraph864},
    {"INTERNAL_DOMAIN", "internal_email_domain", kDomainList},
    {"LDAP_TTL", "ldap_cache_ttl", kInt32},
    {"MAX_ARCHIVE_FILE_SIZE", "max_archive_file_size", k010m},
    {"MAX_TXT_FILE_SIZE", "max_txt_file_size", k076800},
    {"FQDN_PERIOD", "fqdn_period", kInt32},
    {"QSCAN_DLL_PATH", "qscan_dll_path", kWinPath},
    {"NEED_METADATA", "need_metadata", kBool},
    {"X_NAME", "x_name", kHeaderName},
    {"X_VALUE", "x_value", kHeaderValue},
    {"LOG_REPORT_TYPE", "log_report_type", kV1V2},
    {"CLIPBOARD_IDLE_TIME", "clipboard_idle_time", k030},
    {"FORM_SCAN", "form_scan", kBool},
    {"FORM_SCAN_DEFAULT_PTN_ON", "form_scan_default_ptn_on", kBool},
    {"CHECK_ALLFILES", "check_allfiles", kBool},
    {"INET_REPO_CLEAR_INTERVA", "inet_repo_clear_interval", kInt32},
    {"SAFE_MODE_SUPPORT", "safe_mode_support", kBool},
    {"HTTP_FILE_SKIP_TIME", "http_file_skip_time", k0300},
    {"RECORD_LAST_LOGIN_USER", "record_last_login_user", kBool},
    {"MAX_MATCH_CONTENT_NUMBER", "max_match_content_number", k110},
    {"MULTIPART_SCAN", "use_multipart_scan", kBool},
    {"APPLY_EMAIL_WBLIST_TO_WEBMAIL", "apply_email_wblist_to_webmail", kBool},
    {"CONVERTER_CALL_METHOD", "converter_call_method", kPipeFunccall},
    {"ENABLE_CHROME_QUIC", "enable_chrome_quic", kBoolNull},
    {"ENABLE_WPD_DEVCTRL", "enable_wpd_devctrl", kBool},
    {"FREQ_WPD_DEVCTRL_VIOLATION", "freq_wpd_devctrl_violation", kHoursNorepeat},
    {"BYPASS_ITUNES_NONSTOR_USB_DC", "bypass_itunes_nonstor_usb_dc", kBool},
    {"CONVERTER_MAX_TIMEOUT", "converter_max_timeout", k150},
    {"LOG_THROTTLE", "log_throttle", kBool},
    {"MONITOR_WEBMAIL_DRAFT", "monitor_webmail_draft", kBool},
    {"CHECK_VMWARE_THINAPP", "check_vmware_thinapp", kBool},
    {"CLOUDSTORAGE_HTTP2_CHECK", "cloudstorage_http2_check", kBool},
    {"BYPASS_DNS_RESOLVE_WEBSITES", "bypass_dns_resolve_websites", kHostList},
    {"MONITOR_FILE_UPLOAD_WEBSITES", "monitor_file_upload_websites", kHostListOrAll},
    {"CDDVD_MAXIMUM_ARCHIVE_SCAN_TIMEOUT", "maximum_archive_scan_timeout", k210},
    {"SKIP_PROC_LAUNCH_SIGN_CHECK", "skip_proc_launch_sign_check", kBool},
    {"LOG_ENABLED_DEVICE", "log_enabled_device", kBool},
    {"ENABLE_DYNAMIC_CODE_POLICY", "enable_dynamic_code_policy", kBool},
    {"REMOVE_DLP_OUTLOOK_ADDIN", "remove_dlp_outlook_addin", kBool},
    {"PARSER_MONITOR_LIST", "parser_monitor_list", kHostListOrAll},
    {"SYNC_MODE_FILE_CACHE", "sync_mode_file_cache", kBool},
    {"NERO_HANDLER_SCAN_WAIT_TIME", "nero_handler_scan_wait_time", k1600},
    {"POWER2GO_HANDLER_SCAN_WAIT_TIME", "power2go_handler_scan_wait_time", k1600},
    {"DEVICE_CHANGE_QUICK_RESP", "device_change_quick_resp", kBool},
    {"FIREFOX_QUICK_URL_UPDATE", "firefox_quick_url_update", kBool},
    {"ADOBE_PDF_READER_AGGRESSIVE_MODE", "adobe_pdf_reader_aggressive_mode", kBool},
    {"COMBINE_HTTPS_HTTP_IN_REPORT", "combine_https_http_in_report", kBool},
    {"DEVICE_ID_BLOCK", "device_id_block", kDeviceId},
    {"DEVICE_ID_ALLOW", "device_id_allow", kDeviceId},
    {"MONITOR_MPIO", "monitor_mpio", kBool},
    {"SKIP_PRINT_TO_DOC", "skip_print_to_doc", kBool},
    {"SKIP_FILE_NAME", "skip_file_name", kSkipName},
    {"MONITOR_ALL_WIRELESS_NIC", "monitor_all_wireless_nic", kBool},
    {"RETAIN_HOST_FUNCTIONALITY", "retain_host_functionality", kBool},
    {"BYPASS_ANDROID_USB_COMPOSITE", "bypass_android_usb_composite", kBool},
    {"ENABLE_UNC_ENHANCEMENT", "enable_unc_enhancement", kBool},
    {"DISABLE_USB_MASS_STORAGE", "disable_usb_mass_storage", kBool},
    {"TRANS_SITES_2_CLOUDSTORAGE", "trans_sites_2_cloudstorage", kBool},
    {"ONEDRIVE_SKIP_ORG", "onedrive_skip_org", kPipeList},
    {"CLIPBOARD_IGNORE_SPECIFIC_PROCESS", "clipboard_ignore_specific_process", kBool},
    {"ENABLE_RESET_BLACKLIST", "enable_reset_blacklist", kBool},
    {"TAB_MODE_NORMALIZE", "tab_mode_normalize", kBool},
    {"WHITELIST_SFTP_SPECIAL_PROTOCOL", "whitelist_sftp_special_protocol", kBool},
};

}  // namespace tests
