#include "simulation/mail/msgreader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "simulation/mail/codepage.h"
#include "simulation/mail/htmltext.h"
#include "simulation/mail/mailreader.h"
#include "simulation/mail/mailtext.h"
#include "simulation/mail/msgproperties.h"
#include "simulation/mail/rtf.h"

namespace simulation::mail {

namespace {

// Property ids.
constexpr std::uint16_t kSubject = 0x0037;
constexpr std::uint16_t kSentRepresentingName = 0x0042;
constexpr std::uint16_t kSentRepresentingType = 0x0064;
constexpr std::uint16_t kSentRepresentingAddress = 0x0065;
constexpr std::uint16_t kSentRepresentingSmtp = 0x5D02;
constexpr std::uint16_t kSenderName = 0x0C1A;
constexpr std::uint16_t kSenderType = 0x0C1E;
constexpr std::uint16_t kSenderAddress = 0x0C1F;
constexpr std::uint16_t kSenderSmtp = 0x5D01;
constexpr std::uint16_t kBody = 0x1000;
constexpr std::uint16_t kRtfCompressed = 0x1009;
constexpr std::uint16_t kHtml = 0x1013;
constexpr std::uint16_t kInternetCodePage = 0x3FDE;
constexpr std::uint16_t kRecipientType = 0x0C15;
constexpr std::uint16_t kDisplayName = 0x3001;
constexpr std::uint16_t kAddressType = 0x3002;
constexpr std::uint16_t kEmailAddress = 0x3003;
constexpr std::uint16_t kSmtpAddress = 0x39FE;
constexpr std::uint16_t kDisplayType = 0x3900;
constexpr std::uint16_t kAttachData = 0x3701;
constexpr std::uint16_t kAttachFileName = 0x3704;
constexpr std::uint16_t kAttachMethod = 0x3705;
constexpr std::uint16_t kAttachLongFileName = 0x3707;
constexpr std::uint16_t kAttachPathName = 0x3708;
constexpr std::uint16_t kAttachLongPathName = 0x370D;
constexpr std::uint16_t kAttachContentId = 0x3712;

// PR_ATTACH_METHOD.
constexpr std::int32_t kMethodReference = 2;
constexpr std::int32_t kMethodReferenceOnly = 4;
constexpr std::int32_t kMethodEmbedded = 5;
constexpr std::int32_t kMethodOle = 6;

// OlAttachmentType.
constexpr std::int32_t kByValue = 1;
constexpr std::int32_t kByReference = 4;
constexpr std::int32_t kEmbeddedItem = 5;
constexpr std::int32_t kOle = 6;

constexpr const char* kNamedProperties = "__nameid_version1.0";

// The first of the texts that is there and not empty.
std::optional<std::string> FirstOf(std::initializer_list<std::optional<std::string>> texts) {
  for (const auto& text : texts) {
    if (text && !text->empty()) return text;
  }
  return std::nullopt;
}

// "SMTP" addresses are bare already; any other type has a property with the SMTP address, if known.
std::optional<std::string> AddressOf(const std::optional<std::string>& smtp,
                                     const std::optional<std::string>& type,
                                     const std::optional<std::string>& address) {
  if (type == "SMTP") return FirstOf({address, smtp});
  return FirstOf({smtp, address});
}

class MessageReader {
 public:
  explicit MessageReader(const Storage& file)
      : m_file(file), m_properties(file, MsgObject::kMessage, kDefaultCodePage) {}

  MailModel Read() {
    ReadRecipients();
    ReadSender();
    m_mail.subject = m_properties.Text(kSubject);
    ReadBodies();
    for (const auto& [name, storage] : m_file.storages) {
      if (name.starts_with("__attach_version1.0_#")) ReadAttachment(storage);
    }
    return std::move(m_mail);
  }

 private:
  // To, then Cc, then Bcc, each in the file's order.
  void ReadRecipients() {
    std::array<std::vector<MailRecipient>, 4> byType;
    for (const auto& [name, storage] : m_file.storages) {
      if (!name.starts_with("__recip_version1.0_#")) continue;
      const MsgProperties properties(storage, MsgObject::kOther, m_properties.CodePage());
      // The upper bits are flags. 0 is the sender, which a few files list too.
      const std::int32_t type = properties.Number(kRecipientType).value_or(1) & 0xF;
      if (type < 1 || type > 3) continue;
      byType[static_cast<std::size_t>(type)].push_back(RecipientOf(properties));
    }
    for (auto& recipients : byType) {
      std::move(recipients.begin(), recipients.end(), std::back_inserter(m_mail.recipients));
    }
  }

  static MailRecipient RecipientOf(const MsgProperties& properties) {
    auto entry = std::make_shared<MailAddressEntry>();
    entry->address = AddressOf(properties.Text(kSmtpAddress), properties.Text(kAddressType),
                               properties.Text(kEmailAddress));
    entry->displayType = properties.Number(kDisplayType).value_or(0);
    const std::string name = FirstOf({properties.Text(kDisplayName), entry->address}).value_or("");
    entry->id = "entry:" + entry->address.value_or(name);
    return {name, std::move(entry)};
  }

  // A draft may have no sender yet.
  void ReadSender() {
    const auto text = [this](std::uint16_t id) { return m_properties.Text(id); };
    const auto address =
        FirstOf({AddressOf(text(kSentRepresentingSmtp), text(kSentRepresentingType),
                           text(kSentRepresentingAddress)),
                 AddressOf(text(kSenderSmtp), text(kSenderType), text(kSenderAddress))});
    m_mail.senderName = FirstOf({text(kSentRepresentingName), text(kSenderName), address});
    m_mail.accountSenderName = m_mail.senderName;
    m_mail.accountUserName = address;
  }

  void ReadBodies() {
    m_mail.htmlBody = Html();
    if (const auto body = m_properties.Text(kBody)) {
      m_mail.body = *body;
    } else {
      m_mail.body = m_mail.htmlBody ? TextOfHtml(*m_mail.htmlBody) : std::string();
    }
    m_mail.body = WithCrLf(*m_mail.body);
  }

  std::optional<std::string> Html() const {
    if (const auto bytes = m_properties.Bytes(kHtml)) {
      const std::int32_t codePage = m_properties.Number(kInternetCodePage).value_or(0);
      return CodePageToUtf8(
          codePage > 0 ? static_cast<std::uint32_t>(codePage) : m_properties.CodePage(), *bytes);
    }
    if (auto text = m_properties.Text(kHtml)) return text;
    const auto compressed = m_properties.Bytes(kRtfCompressed);
    const auto rtf = compressed ? DecompressRtf(*compressed) : std::nullopt;
    return rtf ? HtmlInRtf(*rtf) : std::nullopt;
  }

  void ReadAttachment(const Storage& storage) {
    const MsgProperties properties(storage, MsgObject::kOther, m_properties.CodePage());
    const auto text = [&](std::uint16_t id) { return properties.Text(id); };
    MailAttachment attachment;
    attachment.fileName = FirstOf({text(kAttachLongFileName), text(kAttachFileName)});
    attachment.contentId = FirstOf({text(kAttachContentId)});
    const Storage* const object = properties.Object(kAttachData);
    const std::int32_t method = properties.Number(kAttachMethod).value_or(1);
    std::string ending = ".dat";
    if (method == kMethodEmbedded && object != nullptr) {
      attachment.type = kEmbeddedItem;
      attachment.content = WriteCompoundFile(AsFile(*object));
      ending = ".msg";
    } else if (method == kMethodOle) {
      attachment.type = kOle;
      if (object != nullptr) attachment.content = WriteCompoundFile(*object);
    } else if (method >= kMethodReference && method <= kMethodReferenceOnly) {
      attachment.type = kByReference;
      attachment.pathName = FirstOf({text(kAttachLongPathName), text(kAttachPathName)});
    } else {
      attachment.type = kByValue;
    }
    if (attachment.content.empty()) {
      attachment.content = properties.Bytes(kAttachData).value_or("");
    }
    if (!attachment.fileName) attachment.fileName = MadeUpName(text(kDisplayName), ending);
    m_mail.attachments.push_back(std::move(attachment));
  }

  // An embedded message's display name is its subject.
  std::string MadeUpName(const std::optional<std::string>& displayName,
                         const std::string& ending) const {
    if (displayName && !displayName->empty()) {
      return ending == ".msg" ? *displayName + ending : *displayName;
    }
    char name[16];
    std::snprintf(name, sizeof(name), "ATT%05u",
                  static_cast<unsigned>(m_mail.attachments.size() + 1) % 100'000);
    return name + ending;
  }

  // The embedded message as a file of its own: its property stream gets the longer header, and it
  // needs the names of the file's named properties.
  Storage AsFile(const Storage& embedded) const {
    Storage file = embedded;
    std::string& list = file.streams[kMsgPropertyStream];
    const auto shortHeader = static_cast<std::size_t>(MsgObject::kEmbeddedMessage);
    const auto longHeader = static_cast<std::size_t>(MsgObject::kMessage);
    list.insert(std::min(list.size(), shortHeader), longHeader - shortHeader, '\0');
    const auto names = m_file.storages.find(kNamedProperties);
    if (names != m_file.storages.end()) file.storages.insert(*names);
    return file;
  }

  const Storage& m_file;
  MsgProperties m_properties;
  MailModel m_mail;
};

}  // namespace

MailModel ReadOutlookMessage(const Storage& file) {
  if (!file.streams.contains(kMsgPropertyStream)) {
    throw MailError("it is not a mail: the compound file has no message in it");
  }
  return MessageReader(file).Read();
}

MailModel ReadOutlookMessage(std::string_view bytes) {
  return ReadOutlookMessage(ReadCompoundFile(bytes));
}

}  // namespace simulation::mail
