#include "config/configkeytable.h"

#include <iterator>

#include "config/configpatterns.h"

namespace {

// Internal key, public key, pattern. Names that look misspelt are the agent's own.
constexpr ConfigKey kRows[] = {
    {"IP_WLIST", "ip_white_list", RE_IP_LIST},
    {"IP_BLIST", "ip_black_list", RE_IP_LIST},
    {"FILE_PFIX", "encrypted_filename_prefix", RE_FILE_PREFIX},
    {"TIMEOUT", "seconds_to_remember_inputs", RE_0_3600},
    {"DECOMPRE_LAYER", "agent.decompress.max.file.layer", RE_1_20},
    {"DECOMPRE_FILE_COUNT", "agent.decompress.max.file.count", RE_1_5000},
    {"DECOMPRE_FILE_COUNT_ALL_LAYER", "agent.decompress.max.file.count.all.layer", RE_1_10000},
    {"DECOMPRE_SIZE", "agent.decompress.max.file.size", RE_1_524288},
    {"MAX_FILE_SIZE", "ptSweeper.maxFileSize", RE_0_1G},
    {"MAX_CHECK_FILESIZE", "max_check_size_kbytes", RE_0_1G},
    {"PW_EXPIRATION", "password_expiration", RE_0_3600},
    {"DLOG_TIMEOUT", "dialogs_timeout", RE_5_180},
    {"HIDE_ME", "hide_me", RE_BOOL},
    {"DISABLE_STOP", "disable_stop", RE_BOOL},
    {"MAX_FORENSIC_DATA_SIZE", "max_forensic_data_size", RE_0_1G},
    {"FORENSIC_DATA_PATH", "sdk_forensic_data_path", RE_WIN_PATH},
    {"DISCOVERY_REPORT_PATH", "sdk_discovery_report_path", RE_WIN_PATH},
    {"DISCOVERY_PASSWORD", "sdk_discovery_password", RE_GRAPH_8_64},
    {"INTERNAL_DOMAIN", "internal_email_domain", RE_DOMAIN_LIST},
    {"LDAP_TTL", "ldap_cache_ttl", RE_INT32},
    {"MAX_ARCHIVE_FILE_SIZE", "max_archive_file_size", RE_0_10M},
    {"MAX_TXT_FILE_SIZE", "max_txt_file_size", RE_0_76800},
    {"FQDN_PERIOD", "fqdn_period", RE_INT32},
    {"QSCAN_DLL_PATH", "qscan_dll_path", RE_WIN_PATH},
    {"NEED_METADATA", "need_metadata", RE_BOOL},
    {"X_NAME", "x_name", RE_HEADER_NAME},
    {"X_VALUE", "x_value", RE_HEADER_VALUE},
    {"LOG_REPORT_TYPE", "log_report_type", RE_V1_V2},
    {"CLIPBOARD_IDLE_TIME", "clipboard_idle_time", RE_0_30},
    {"FORM_SCAN", "form_scan", RE_BOOL},
    {"FORM_SCAN_DEFAULT_PTN_ON", "form_scan_default_ptn_on", RE_BOOL},
    {"CHECK_ALLFILES", "check_allfiles", RE_BOOL},
    {"INET_REPO_CLEAR_INTERVA", "inet_repo_clear_interval", RE_INT32},
    {"SAFE_MODE_SUPPORT", "safe_mode_support", RE_BOOL},
    {"HTTP_FILE_SKIP_TIME", "http_file_skip_time", RE_0_300},
    {"RECORD_LAST_LOGIN_USER", "record_last_login_user", RE_BOOL},
    {"MAX_MATCH_CONTENT_NUMBER", "max_match_content_number", RE_1_10},
    {"MULTIPART_SCAN", "use_multipart_scan", RE_BOOL},
    {"APPLY_EMAIL_WBLIST_TO_WEBMAIL", "apply_email_wblist_to_webmail", RE_BOOL},
    {"CONVERTER_CALL_METHOD", "converter_call_method", RE_PIPE_FUNCCALL},
    {"ENABLE_CHROME_QUIC", "enable_chrome_quic", RE_BOOL_NULL},
    {"ENABLE_WPD_DEVCTRL", "enable_wpd_devctrl", RE_BOOL},
    {"FREQ_WPD_DEVCTRL_VIOLATION", "freq_wpd_devctrl_violation", RE_HOURS_NOREPEAT},
    {"BYPASS_ITUNES_NONSTOR_USB_DC", "bypass_itunes_nonstor_usb_dc", RE_BOOL},
    {"CONVERTER_MAX_TIMEOUT", "converter_max_timeout", RE_1_50},
    {"LOG_THROTTLE", "log_throttle", RE_BOOL},
    {"MONITOR_WEBMAIL_DRAFT", "monitor_webmail_draft", RE_BOOL},
    {"CHECK_VMWARE_THINAPP", "check_vmware_thinapp", RE_BOOL},
    {"CLOUDSTORAGE_HTTP2_CHECK", "cloudstorage_http2_check", RE_BOOL},
    {"BYPASS_DNS_RESOLVE_WEBSITES", "bypass_dns_resolve_websites", RE_HOST_LIST},
    {"MONITOR_FILE_UPLOAD_WEBSITES", "monitor_file_upload_websites", RE_HOST_LIST_OR_ALL},
    {"CDDVD_MAXIMUM_ARCHIVE_SCAN_TIMEOUT", "maximum_archive_scan_timeout", RE_2_10},
    {"SKIP_PROC_LAUNCH_SIGN_CHECK", "skip_proc_launch_sign_check", RE_BOOL},
    {"LOG_ENABLED_DEVICE", "log_enabled_device", RE_BOOL},
    {"ENABLE_DYNAMIC_CODE_POLICY", "enable_dynamic_code_policy", RE_BOOL},
    {"REMOVE_DLP_OUTLOOK_ADDIN", "remove_dlp_outlook_addin", RE_BOOL},
    {"PARSER_MONITOR_LIST", "parser_monitor_list", RE_HOST_LIST_OR_ALL},
    {"SYNC_MODE_FILE_CACHE", "sync_mode_file_cache", RE_BOOL},
    {"NERO_HANDLER_SCAN_WAIT_TIME", "nero_handler_scan_wait_time", RE_1_600},
    {"POWER2GO_HANDLER_SCAN_WAIT_TIME", "power2go_handler_scan_wait_time", RE_1_600},
    {"DEVICE_CHANGE_QUICK_RESP", "device_change_quick_resp", RE_BOOL},
    {"FIREFOX_QUICK_URL_UPDATE", "firefox_quick_url_update", RE_BOOL},
    {"ADOBE_PDF_READER_AGGRESSIVE_MODE", "adobe_pdf_reader_aggressive_mode", RE_BOOL},
    {"COMBINE_HTTPS_HTTP_IN_REPORT", "combine_https_http_in_report", RE_BOOL},
    {"DEVICE_ID_BLOCK", "device_id_block", RE_DEVICE_ID},
    {"DEVICE_ID_ALLOW", "device_id_allow", RE_DEVICE_ID},
    {"MONITOR_MPIO", "monitor_mpio", RE_BOOL},
    {"SKIP_PRINT_TO_DOC", "skip_print_to_doc", RE_BOOL},
    {"SKIP_FILE_NAME", "skip_file_name", RE_SKIP_NAME},
    {"MONITOR_ALL_WIRELESS_NIC", "monitor_all_wireless_nic", RE_BOOL},
    {"RETAIN_HOST_FUNCTIONALITY", "retain_host_functionality", RE_BOOL},
    {"BYPASS_ANDROID_USB_COMPOSITE", "bypass_android_usb_composite", RE_BOOL},
    {"ENABLE_UNC_ENHANCEMENT", "enable_unc_enhancement", RE_BOOL},
    {"DISABLE_USB_MASS_STORAGE", "disable_usb_mass_storage", RE_BOOL},
    {"TRANS_SITES_2_CLOUDSTORAGE", "trans_sites_2_cloudstorage", RE_BOOL},
    {"ONEDRIVE_SKIP_ORG", "onedrive_skip_org", RE_PIPE_LIST},
    {"CLIPBOARD_IGNORE_SPECIFIC_PROCESS", "clipboard_ignore_specific_process", RE_BOOL},
    {"ENABLE_RESET_BLACKLIST", "enable_reset_blacklist", RE_BOOL},
    {"TAB_MODE_NORMALIZE", "tab_mode_normalize", RE_BOOL},
    {"WHITELIST_SFTP_SPECIAL_PROTOCOL", "whitelist_sftp_special_protocol", RE_BOOL},
};

}  // namespace

const ConfigKeyTable g_configKeyTable;

ConfigKeyTable::ConfigKeyTable() {
  for (const ConfigKey& row : kRows) {
    m_rows.emplace(row.internalKey, &row);
  }
}

const ConfigKey* ConfigKeyTable::Find(std::string_view internalKey) const {
  const auto found = m_rows.find(internalKey);
  return found == m_rows.end() ? nullptr : found->second;
}

const ConfigKey* ConfigKeyTable::begin() const {
  return std::begin(kRows);
}

const ConfigKey* ConfigKeyTable::end() const {
  return std::end(kRows);
}
