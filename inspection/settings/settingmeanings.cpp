// What each setting is for, as far as its name says.
#include <algorithm>

#include "inspection/settings/settinghelp.h"

namespace inspection::settings {

namespace {

struct Row {
  std::string_view publicKey;
  SettingMeaning meaning;
};

constexpr Row kRows[] = {
    {"ip_white_list", {"addresses that are allowed", ""}},
    {"ip_black_list", {"addresses that are blocked", ""}},
    {"encrypted_filename_prefix",
     {"how the name of a file begins that the agent has encrypted", ""}},
    {"seconds_to_remember_inputs", {"how long the user's inputs are remembered", "seconds"}},
    {"agent.decompress.max.file.layer",
     {"how many layers of nested archives are unpacked", "layers"}},
    {"agent.decompress.max.file.count", {"how many files of one archive are unpacked", "files"}},
    {"agent.decompress.max.file.count.all.layer",
     {"how many files of all layers of an archive are unpacked", "files"}},
    {"agent.decompress.max.file.size", {"the largest file that is unpacked", kUnitUnknown}},
    {"ptSweeper.maxFileSize", {"the largest file that the sweeper reads", kUnitUnknown}},
    {"max_check_size_kbytes", {"the largest content that is checked", "kilobytes"}},
    {"password_expiration", {"how long a password is valid", kUnitUnknown}},
    {"dialogs_timeout", {"how long a dialog waits for the user", kUnitUnknown}},
    {"hide_me", {"whether the agent hides from the user", ""}},
    {"disable_stop", {"whether the agent can't be stopped", ""}},
    {"max_forensic_data_size", {"the most evidence that is kept of a violation", kUnitUnknown}},
    {"sdk_forensic_data_path", {"where evidence is kept", ""}},
    {"sdk_discovery_report_path", {"where reports of a discovery scan are kept", ""}},
    {"sdk_discovery_password", {"the password for discovery scans", ""}},
    {"internal_email_domain", {"the mail domains of the company itself", ""}},
    {"ldap_cache_ttl", {"how long answers of the directory service are kept", kUnitUnknown}},
    {"max_archive_file_size", {"the largest archive that is opened", kUnitUnknown}},
    {"max_txt_file_size", {"the largest text file that is checked", kUnitUnknown}},
    {"fqdn_period", {"how often the computer's full name is looked up", kUnitUnknown}},
    {"qscan_dll_path", {"where the scanning library is", ""}},
    {"need_metadata", {"whether a document's metadata is checked", ""}},
    {"x_name", {"the name of the header that marks a tagged mail", ""}},
    {"x_value", {"the value of the header that marks a tagged mail", ""}},
    {"log_report_type", {"the version of the reports' format", ""}},
    {"clipboard_idle_time", {"how long the clipboard is idle before it is checked", kUnitUnknown}},
    {"form_scan", {"whether web forms are checked", ""}},
    {"form_scan_default_ptn_on", {"whether the default patterns apply to web forms", ""}},
    {"check_allfiles", {"whether files of every type are checked", ""}},
    {"inet_repo_clear_interval",
     {"how often the store of Internet traffic is cleared", kUnitUnknown}},
    {"safe_mode_support", {"whether the agent runs in Windows' safe mode", ""}},
    {"http_file_skip_time", {"how long a file sent by HTTP isn't checked again", kUnitUnknown}},
    {"record_last_login_user", {"whether the last user who logged in is recorded", ""}},
    {"max_match_content_number", {"how many matches are kept of a violation", "matches"}},
    {"use_multipart_scan", {"whether the parts of a multipart message are checked", ""}},
    {"apply_email_wblist_to_webmail",
     {"whether the allowed and blocked mail addresses apply to webmail", ""}},
    {"converter_call_method", {"how the document converter is called", ""}},
    {"enable_chrome_quic", {"whether Chrome may use QUIC", ""}},
    {"enable_wpd_devctrl", {"whether portable devices are controlled", ""}},
    {"freq_wpd_devctrl_violation",
     {"how often a violation with a portable device is reported", "hours"}},
    {"bypass_itunes_nonstor_usb_dc", {"whether iTunes devices without storage are exempt", ""}},
    {"converter_max_timeout", {"how long the document converter may take", kUnitUnknown}},
    {"log_throttle", {"whether repeated entries of the log are held back", ""}},
    {"monitor_webmail_draft", {"whether drafts in webmail are checked", ""}},
    {"check_vmware_thinapp", {"whether ThinApp programs are checked", ""}},
    {"cloudstorage_http2_check", {"whether cloud storage over HTTP/2 is checked", ""}},
    {"bypass_dns_resolve_websites", {"web sites whose names aren't resolved", ""}},
    {"monitor_file_upload_websites", {"web sites to which uploads are checked", ""}},
    {"maximum_archive_scan_timeout",
     {"how long the scan of an archive for a CD or DVD may take", kUnitUnknown}},
    {"skip_proc_launch_sign_check",
     {"whether the signature of a starting program isn't checked", ""}},
    {"log_enabled_device", {"whether allowed devices are logged", ""}},
    {"enable_dynamic_code_policy", {"whether the policy against dynamic code is on", ""}},
    {"remove_dlp_outlook_addin", {"whether the Outlook add-in is removed", ""}},
    {"parser_monitor_list", {"web sites whose traffic is parsed", ""}},
    {"sync_mode_file_cache", {"whether the file cache works synchronously", ""}},
    {"nero_handler_scan_wait_time",
     {"how long burning with Nero waits for the scan", kUnitUnknown}},
    {"power2go_handler_scan_wait_time",
     {"how long burning with Power2Go waits for the scan", kUnitUnknown}},
    {"device_change_quick_resp", {"whether a changed device is handled at once", ""}},
    {"firefox_quick_url_update", {"whether Firefox's address is read at once", ""}},
    {"adobe_pdf_reader_aggressive_mode", {"whether the PDF reader is watched more strictly", ""}},
    {"combine_https_http_in_report", {"whether reports have HTTP and HTTPS as one", ""}},
    {"device_id_block", {"device ids that are blocked", ""}},
    {"device_id_allow", {"device ids that are allowed", ""}},
    {"monitor_mpio", {"whether disks with several paths are watched", ""}},
    {"skip_print_to_doc", {"whether printing to a document isn't checked", ""}},
    {"skip_file_name", {"names of files that aren't checked", ""}},
    {"monitor_all_wireless_nic", {"whether all wireless adapters are watched", ""}},
    {"retain_host_functionality", {"whether the host keeps all its functions", ""}},
    {"bypass_android_usb_composite", {"whether composite USB devices with Android are exempt", ""}},
    {"enable_unc_enhancement", {"whether the extended handling of network paths is on", ""}},
    {"disable_usb_mass_storage", {"whether USB storage is disabled", ""}},
    {"trans_sites_2_cloudstorage", {"whether file transfer sites count as cloud storage", ""}},
    {"onedrive_skip_org", {"organisations whose OneDrive isn't checked", ""}},
    {"clipboard_ignore_specific_process",
     {"whether certain programs may use the clipboard unchecked", ""}},
    {"enable_reset_blacklist", {"whether the block list can be reset", ""}},
    {"tab_mode_normalize", {"whether browser tabs are treated alike", ""}},
    {"whitelist_sftp_special_protocol", {"whether SFTP is allowed", ""}},
};

}  // namespace

const SettingMeaning& MeaningOf(const ConfigKey& setting) {
  static constexpr SettingMeaning kNone{"not described", kUnitUnknown};
  const auto* const found =
      std::find_if(std::begin(kRows), std::end(kRows),
                   [&setting](const Row& row) { return row.publicKey == setting.publicKey; });
  return found == std::end(kRows) ? kNone : found->meaning;
}

}  // namespace inspection::settings
