#include "simulation/mail/mailreader.h"

#include <fmt/format.h>
#include <gmime/gmime.h>

#include <memory>

#include "simulation/mail/addressgroups.h"
#include "simulation/mail/encodedwords.h"
#include "simulation/mail/htmltext.h"
#include "simulation/mail/mailparts.h"
#include "simulation/mail/mailtext.h"
#include "simulation/mail/posix/unref.h"

namespace simulation::mail {

namespace {

// Frees the array and not the bytes, which belong to the caller.
struct LeaveBytes {
  void operator()(GByteArray* array) const { g_byte_array_free(array, FALSE); }
};
struct FreeParserOptions {
  void operator()(GMimeParserOptions* options) const { g_mime_parser_options_free(options); }
};

std::unique_ptr<GMimeParserOptions, FreeParserOptions> LenientOptions() {
  static const bool started = (g_mime_init(), true);
  static_cast<void>(started);
  std::unique_ptr<GMimeParserOptions, FreeParserOptions> options(g_mime_parser_options_new());
  // Eight-bit headers without a declared charset: UTF-8 if valid, otherwise Latin.
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

// The raw values of all headers with that name.
std::vector<std::string> RawHeaders(GMimeMessage* message, std::string_view name) {
  std::vector<std::string> values;
  GMimeHeaderList* const headers = g_mime_object_get_header_list(GMIME_OBJECT(message));
  const int count = g_mime_header_list_get_count(headers);
  for (int i = 0; i < count; ++i) {
    GMimeHeader* const header = g_mime_header_list_get_header_at(headers, i);
    if (g_ascii_strcasecmp(g_mime_header_get_name(header), std::string(name).c_str()) != 0) {
      continue;
    }
    const char* const raw = g_mime_header_get_raw_value(header);
    values.emplace_back(raw != nullptr ? raw : "");
  }
  return values;
}

// Calls `take` for each address in all headers with that name.
template <typename Take>
void ForEachAddress(GMimeMessage* message, std::string_view name, Take take) {
  const auto options = LenientOptions();
  for (const std::string& header : RawHeaders(message, name)) {
    const std::unique_ptr<InternetAddressList, Unref> list(
        internet_address_list_parse(options.get(), WithQuotedWords(header).c_str()));
    const int count = list ? internet_address_list_length(list.get()) : 0;
    for (int i = 0; i < count; ++i) take(internet_address_list_get_address(list.get(), i));
  }
}

void ReadRecipients(GMimeMessage* message, MailModel& mail) {
  for (const std::string_view name : {"To", "Cc", "Bcc"}) {
    ForEachAddress(message, name, [&mail](InternetAddress* address) {
      mail.recipients.push_back({NameOf(address), EntryOf(address)});
    });
  }
}

void ReadSender(GMimeMessage* message, MailModel& mail) {
  ForEachAddress(message, "From", [&mail](InternetAddress* address) {
    if (mail.senderName) return;  // the first author is the sender
    mail.senderName = NameOf(address);
    mail.accountSenderName = mail.senderName;
    if (INTERNET_ADDRESS_IS_MAILBOX(address)) {
      mail.accountUserName =
          ValidUtf8(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)));
    }
  });
}

void ReadSubject(GMimeMessage* message, MailModel& mail) {
  const auto headers = RawHeaders(message, "Subject");
  // An empty header is an empty subject; a missing one is no subject.
  if (headers.empty()) return;
  const auto options = LenientOptions();
  const std::unique_ptr<char, decltype(&g_free)> unfolded(
      g_mime_utils_header_unfold(WithQuotedWords(headers.front()).c_str()), &g_free);
  const std::unique_ptr<char, decltype(&g_free)> text(
      g_mime_utils_header_decode_text(options.get(), unfolded.get()), &g_free);
  mail.subject = ValidUtf8(g_strstrip(text.get()));
}

// The line ends of the whole mail, judged by its first line.
LineEnds LineEndsOf(std::string_view bytes) {
  const std::size_t end = bytes.find('\n');
  const bool crLf = end != std::string_view::npos && end != 0 && bytes[end - 1] == '\r';
  return crLf ? LineEnds::kCrLf : LineEnds::kLf;
}

// Drops what some programs put before the first header: a byte order mark, and the "From " line
// that a mail has inside a mailbox.
void DropPreamble(std::string_view* bytes) {
  if (bytes->starts_with("\xEF\xBB\xBF")) bytes->remove_prefix(3);
  if (!bytes->starts_with("From ") && !bytes->starts_with(">From ")) return;
  const std::size_t end = bytes->find('\n');
  bytes->remove_prefix(end == std::string_view::npos ? bytes->size() : end + 1);
}

// True for a header's name, any white space, and ":". Older mails put white space before the ":".
bool BeginsWithHeaderLine(std::string_view bytes) {
  std::size_t at = 0;
  while (at < bytes.size() && bytes[at] > ' ' && bytes[at] < '\x7F' && bytes[at] != ':') ++at;
  if (at == 0) return false;
  while (at < bytes.size() && (bytes[at] == ' ' || bytes[at] == '\t')) ++at;
  return at < bytes.size() && bytes[at] == ':';
}

// The message refers to the bytes: a large mail isn't copied.
std::unique_ptr<GMimeMessage, Unref> Parse(GByteArray* bytes) {
  const auto options = LenientOptions();
  const std::unique_ptr<GMimeStream, Unref> stream(g_mime_stream_mem_new_with_byte_array(bytes));
  g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(stream.get()), FALSE);
  const std::unique_ptr<GMimeParser, Unref> parser(g_mime_parser_new_with_stream(stream.get()));
  return std::unique_ptr<GMimeMessage, Unref>(
      g_mime_parser_construct_message(parser.get(), options.get()));
}

}  // namespace

const bool kReadsInternetMessages = true;

MailModel ReadInternetMessage(std::string_view bytes) {
  DropPreamble(&bytes);
  if (!BeginsWithHeaderLine(bytes)) {
    throw MailError("it is not a mail: it doesn't begin with a header line");
  }
  if (MayOpenTooManyGroups(bytes)) throw MailError("an address header has too many groups");
  // The library never changes the bytes.
  auto* const unchanged = const_cast<guint8*>(reinterpret_cast<const guint8*>(bytes.data()));
  const std::unique_ptr<GByteArray, LeaveBytes> array(
      g_byte_array_new_take(unchanged, bytes.size()));
  const auto message = Parse(array.get());
  if (!message) throw MailError("the mail library can't read it");

  MailModel mail;
  ReadRecipients(message.get(), mail);
  ReadSender(message.get(), mail);
  ReadSubject(message.get(), mail);
  if (GMimeObject* const root = g_mime_message_get_mime_part(message.get())) {
    SortParts(root, LineEndsOf(bytes), mail);
  }
  if (!mail.body) mail.body = mail.htmlBody ? TextOfHtml(*mail.htmlBody) : std::string();
  mail.body = WithCrLf(*mail.body);
  return mail;
}

}  // namespace simulation::mail
