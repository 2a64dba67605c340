#include "devkit/mail/mailreader.h"

#include <fmt/format.h>
#include <gmime/gmime.h>

#include <array>
#include <filesystem>
#include <memory>

#include "devkit/mail/htmltext.h"
#include "devkit/mail/mailparts.h"

namespace devkit {

namespace {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
struct FreeOptions {
  void operator()(GMimeParserOptions* options) const { g_mime_parser_options_free(options); }
};

// A file is a mail if it has at least one of these.
constexpr std::array kMailHeaders = {"From",         "To",          "Cc",         "Bcc",
                                     "Subject",      "Date",        "Message-ID", "Received",
                                     "Content-Type", "MIME-Version"};

std::unique_ptr<GMimeParserOptions, FreeOptions> LenientOptions() {
  static const bool started = (g_mime_init(), true);
  static_cast<void>(started);
  std::unique_ptr<GMimeParserOptions, FreeOptions> options(g_mime_parser_options_new());
  // Headers of eight bits without a declared charset: UTF-8 if they are that, otherwise Latin.
  const char* const charsets[] = {"utf-8", "windows-1252", nullptr};
  g_mime_parser_options_set_fallback_charsets(options.get(), const_cast<const char**>(charsets));
  return options;
}

std::shared_ptr<MailAddressEntry> EntryOf(InternetAddress* address);

std::string NameOf(InternetAddress* address) {
  const char* const name = internet_address_get_name(address);
  if (name != nullptr && *name != '\0') return ValidUtf8(name);
  if (!INTERNET_ADDRESS_IS_MAILBOX(address)) return {};
  return ValidUtf8(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)));
}

std::shared_ptr<MailAddressEntry> ListOf(InternetAddressGroup* group) {
  auto entry = std::make_shared<MailAddressEntry>();
  entry->displayType = 5;
  entry->id = "list:" + NameOf(INTERNET_ADDRESS(group));
  InternetAddressList* const members = internet_address_group_get_members(group);
  const int count = members == nullptr ? 0 : internet_address_list_length(members);
  for (int i = 0; i < count; ++i) {
    entry->members.push_back(EntryOf(internet_address_list_get_address(members, i)));
  }
  return entry;
}

std::shared_ptr<MailAddressEntry> EntryOf(InternetAddress* address) {
  if (INTERNET_ADDRESS_IS_GROUP(address)) return ListOf(INTERNET_ADDRESS_GROUP(address));
  auto entry = std::make_shared<MailAddressEntry>();
  const char* const text = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address));
  entry->address = ValidUtf8(text);
  entry->id = "entry:" + *entry->address;
  return entry;
}

void ReadRecipients(GMimeMessage* message, MailModel& mail) {
  for (const GMimeAddressType type :
       {GMIME_ADDRESS_TYPE_TO, GMIME_ADDRESS_TYPE_CC, GMIME_ADDRESS_TYPE_BCC}) {
    InternetAddressList* const list = g_mime_message_get_addresses(message, type);
    const int count = list == nullptr ? 0 : internet_address_list_length(list);
    for (int i = 0; i < count; ++i) {
      InternetAddress* const address = internet_address_list_get_address(list, i);
      mail.recipients.push_back({NameOf(address), EntryOf(address)});
    }
  }
}

void ReadSender(GMimeMessage* message, MailModel& mail) {
  InternetAddressList* const from = g_mime_message_get_from(message);
  if (from == nullptr || internet_address_list_length(from) == 0) return;
  InternetAddress* const first = internet_address_list_get_address(from, 0);
  mail.senderName = NameOf(first);
  mail.accountSenderName = mail.senderName;
  if (INTERNET_ADDRESS_IS_MAILBOX(first)) {
    mail.accountUserName =
        ValidUtf8(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(first)));
  }
}

std::string WithCrLf(const std::string& text) {
  std::string result;
  result.reserve(text.size() + text.size() / 32);
  char previous = '\0';
  for (const char c : text) {
    if (c == '\n' && previous != '\r') result += '\r';
    result += c;
    previous = c;
  }
  return result;
}

bool IsMail(GMimeMessage* message) {
  for (const char* const name : kMailHeaders) {
    if (g_mime_object_get_header(GMIME_OBJECT(message), name) != nullptr) return true;
  }
  return false;
}

std::unique_ptr<GMimeMessage, Unref> Parse(const std::string& path) {
  const auto options = LenientOptions();
  GError* error = nullptr;
  const std::unique_ptr<GMimeStream, Unref> stream(
      g_mime_stream_file_open(path.c_str(), "rb", &error));
  if (!stream) {
    const std::string reason = error != nullptr ? error->message : "it can't be opened";
    g_clear_error(&error);
    throw MailError(reason);
  }
  const std::unique_ptr<GMimeParser, Unref> parser(g_mime_parser_new_with_stream(stream.get()));
  return std::unique_ptr<GMimeMessage, Unref>(
      g_mime_parser_construct_message(parser.get(), options.get()));
}

}  // namespace

MailModel ReadMailFile(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::is_directory(status)) throw MailError("it is a folder, not a mail");
  if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, error) == 0) {
    throw MailError("the file is empty");
  }
  const auto message = Parse(path);
  if (!message || !IsMail(message.get())) {
    throw MailError("it is not a mail: there is no mail header in it");
  }

  MailModel mail;
  mail.source = path;
  ReadRecipients(message.get(), mail);
  ReadSender(message.get(), mail);
  // A header that is there and empty is an empty subject; one that is missing is none.
  if (g_mime_object_get_header(GMIME_OBJECT(message.get()), "Subject") != nullptr) {
    mail.subject = ValidUtf8(g_mime_message_get_subject(message.get()));
  }
  if (GMimeObject* const root = g_mime_message_get_mime_part(message.get())) SortParts(root, mail);
  if (!mail.body) mail.body = mail.htmlBody ? TextOfHtml(*mail.htmlBody) : std::string();
  mail.body = WithCrLf(*mail.body);
  return mail;
}

}  // namespace devkit
