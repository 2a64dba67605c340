#include "simulation/mail/mailjson.h"

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace simulation::mail {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string ToBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= count ? kBase64[group >> (18 - 6 * k) & 63U] : '=';
    }
  }
  return text;
}

std::string FromBase64(std::string_view text) {
  std::string bytes;
  std::uint32_t group = 0;
  int bits = 0;
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  for (const char c : text) {
    const std::size_t value = kBase64.find(c);
    if (value == std::string_view::npos) throw std::runtime_error("an attachment isn't base64");
    group = group << 6 | static_cast<std::uint32_t>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>(group >> bits & 0xFFU);
    }
  }
  return bytes;
}

Json OrNull(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json(nullptr);
}

std::optional<std::string> OptionalText(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) return std::nullopt;
  return found->get<std::string>();
}

// Json's own conversion cuts off what the type can't hold.
template <typename Number>
Number NumberFrom(const Json& value, const char* key) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (std::in_range<Number>(number)) return static_cast<Number>(number);
  } else if (value.is_number_integer()) {
    const auto number = value.get<std::int64_t>();
    if (std::in_range<Number>(number)) return static_cast<Number>(number);
  }
  throw std::runtime_error("\"" + std::string(key) + "\" isn't a usable number: " + value.dump());
}

std::int32_t NumberOr(const Json& object, const char* key, std::int32_t otherwise) {
  const auto found = object.find(key);
  return found == object.end() ? otherwise : NumberFrom<std::int32_t>(*found, key);
}

using EntryPointer = std::shared_ptr<MailAddressEntry>;

// Numbers each entry once, in the order of the walk. Lists may contain themselves.
class EntryNumbers {
 public:
  std::size_t NumberOf(const EntryPointer& entry) {
    const auto [place, added] = m_numbers.emplace(entry.get(), m_entries.size());
    if (added) {
      m_entries.push_back(entry);
      for (const EntryPointer& member : entry->members) NumberOf(member);
    }
    return place->second;
  }

  Json ToJson() {
    Json list = Json::array();
    for (const EntryPointer& entry : m_entries) {
      Json members = Json::array();
      for (const EntryPointer& member : entry->members) members.push_back(NumberOf(member));
      list.push_back({{"address", OrNull(entry->address)},
                      {"display_type", entry->displayType},
                      {"id", OrNull(entry->id)},
                      {"members", std::move(members)}});
    }
    return list;
  }

 private:
  std::map<const MailAddressEntry*, std::size_t> m_numbers;
  std::vector<EntryPointer> m_entries;
};

// Each may be in another, and the add-in opens them, like this file and the entries' destructor, by
// recursion to any depth. No honest mail has nearly as many.
constexpr std::size_t kMostLists = 1000;

std::vector<EntryPointer> EntriesFromJson(const Json& list) {
  std::size_t lists = 0;
  std::vector<EntryPointer> entries(list.size());
  for (EntryPointer& entry : entries) entry = std::make_shared<MailAddressEntry>();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Json& object = list.at(i);
    entries[i]->address = OptionalText(object, "address");
    entries[i]->displayType = NumberOr(object, "display_type", 0);
    entries[i]->id = OptionalText(object, "id");
    for (const Json& member : object.value("members", Json::array())) {
      entries[i]->members.push_back(entries.at(NumberFrom<std::size_t>(member, "members")));
    }
    if (!entries[i]->members.empty() && ++lists > kMostLists) {
      throw std::runtime_error("\"entries\" may have 1000 lists, and the one at index " +
                               std::to_string(i) + " is one too many");
    }
  }
  return entries;
}

MailModel FromDocument(const Json& document) {
  if (NumberOr(document, "quorvex_mail", 0) != 1) {
    throw std::runtime_error("\"quorvex_mail\" is not 1: this is not a mail in JSON");
  }
  MailModel mail;
  mail.source = document.value("source", "");
  mail.subject = OptionalText(document, "subject");
  mail.body = OptionalText(document, "body");
  mail.htmlBody = OptionalText(document, "html");
  mail.senderName = OptionalText(document, "sender_name");
  mail.accountUserName = OptionalText(document, "account_user_name");
  mail.accountSenderName = OptionalText(document, "account_sender_name");
  const auto entries = EntriesFromJson(document.value("entries", Json::array()));
  for (const Json& object : document.value("recipients", Json::array())) {
    const Json entry = object.value("entry", Json());
    mail.recipients.push_back(
        {object.value("name", ""),
         entry.is_null() ? nullptr : entries.at(NumberFrom<std::size_t>(entry, "entry"))});
  }
  for (const Json& object : document.value("attachments", Json::array())) {
    mail.attachments.push_back({NumberOr(object, "type", 1), OptionalText(object, "file_name"),
                                OptionalText(object, "path_name"),
                                FromBase64(object.value("content", "")),
                                OptionalText(object, "content_id")});
  }
  return mail;
}

}  // namespace

std::string MailToJson(const MailModel& mail) {
  EntryNumbers numbers;
  Json recipients = Json::array();
  for (const MailRecipient& recipient : mail.recipients) {
    recipients.push_back(
        {{"name", recipient.name},
         {"entry", recipient.entry ? Json(numbers.NumberOf(recipient.entry)) : Json(nullptr)}});
  }
  Json attachments = Json::array();
  for (const MailAttachment& attachment : mail.attachments) {
    attachments.push_back({{"type", attachment.type},
                           {"file_name", OrNull(attachment.fileName)},
                           {"path_name", OrNull(attachment.pathName)},
                           {"content_id", OrNull(attachment.contentId)},
                           {"content", ToBase64(attachment.content)}});
  }
  const Json document = {{"quorvex_mail", 1},
                         {"source", mail.source},
                         {"subject", OrNull(mail.subject)},
                         {"body", OrNull(mail.body)},
                         {"html", OrNull(mail.htmlBody)},
                         {"sender_name", OrNull(mail.senderName)},
                         {"account_user_name", OrNull(mail.accountUserName)},
                         {"account_sender_name", OrNull(mail.accountSenderName)},
                         {"entries", numbers.ToJson()},
                         {"recipients", std::move(recipients)},
                         {"attachments", std::move(attachments)}};
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

MailModel MailFromJson(std::string_view json) {
  try {
    return FromDocument(Json::parse(json));
  } catch (const Json::exception& error) {
    throw std::runtime_error(error.what());
  } catch (const std::out_of_range&) {
    throw std::runtime_error("an index is outside \"entries\"");
  }
}

bool LooksLikeMailJson(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && text[first] == '{';
}

}  // namespace simulation::mail
