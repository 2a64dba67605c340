#include "inspection/bundle/redactor.h"

#include <algorithm>
#include <array>
#include <optional>

#include "inspection/logs/logline.h"

namespace inspection::bundle {

namespace {

// A message with text from a mail: what is before the text, what ends it, and the token's word.
struct TextMessage {
  std::string_view begin;
  std::string_view end;
  const char* kind;
};
constexpr TextMessage kTextMessages[] = {
    {"Get AddressEntry address: ", "", "address"},
    {"Sender: ", "", "name"},
    {"Mail subject: [", "]", "subject"},
    {"Body: ", "", "body"},
    {"New Inspector: ", ".", "window"},
    {"Find signature image: [", "]", "file"},
    {"Full signature path [", "]", "file"},
    {"signaturefolder ", ".", "file"},
    {"findFileData name ", ".", "file"},
    {"Check [", "]", "file"},
    {"CheckContentWithFile: cannot create file [", "]!", "file"},
    {"CheckContentWithFile: cannot write to temp file [", "], line =", "file"},
};
constexpr std::string_view kAttachment = "Referenced attachment: path:";
constexpr std::string_view kAttachmentName = ", name:";

// Messages without a mail's text, by their beginnings.
constexpr std::string_view kPlainMessages[] = {
    "AddressEntry type ",
    "Block current mail sending.",
    "Cannot find signature filepath.",
    "Cannot get attach",
    "Cannot get body, and don't check body.",
    "Cannot get sender name, and don't check sender.",
    "Cannot get subject, and don't check subject.",
    "CheckAttachments returns: ",
    "CheckBody returns: ",
    "CheckContent: ",
    "CheckRecipients returns: ",
    "CheckSignature returns: ",
    "CheckSubject returns: ",
    "Could not allocate memory buffer.",
    "DLP Addin attached.",
    "DlpMailEvent::",
    "Empty mail subject might cause violation log trimmed.",
    "Error retrieving GetIDsFromNames.",
    "Exception 0x",
    "Get AddressEntry ID failed: ",
    "Get AddressEntry from recipient failed: ",
    "Get AddressEntry members failed: ",
    "Get DisplayType failed: ",
    "Get Item from recipients failed: ",
    "Get attachment name and path failed.",
    "Get recipients counts failed: ",
    "Get recipients failed: ",
    "Get x-header fail, use default value",
    "Initialize success",
    "InitializeSharedMemory: ",
    "Kill the monitoring timer.",
    "Mail ref error: ",
    "MailItem 0x",
    "New InlineResponse Created.",
    "New Inspector Created.",
    "Not find end keyword for signature image.",
    "Not support displayType, skip it.",
    "OnInspectorClose",
    "Outlook version: ",
    "PushEntry: ",
    "QueryInterface failed on ",
    "ScanSessionEnd returns: ",
    "SendUsingAccount is empty",
    "Start timer to monitor the inspector change.",
    "The entry has been processed! skip it",
    "Unknown Error on receiving the Pointer to MAPI Properties.",
    "WriteRingBuffer: ",
    "[DlpMailEvent::",
    "rolo_dbg Error setting Header.",
};

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Lowered(std::string_view text) {
  std::string lowered(text);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lower);
  return lowered;
}

bool IsAddressCharacter(char c) {
  const char lower = Lower(c);
  return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
         c == '%' || c == '+' || c == '-' || static_cast<unsigned char>(c) >= 0x80;
}

// Where the address around the "@" begins and ends; absent if it is none.
std::optional<std::pair<std::size_t, std::size_t>> AddressAround(std::string_view text,
                                                                 std::size_t at) {
  std::size_t begin = at;
  while (begin > 0 && IsAddressCharacter(text[begin - 1])) --begin;
  std::size_t end = at + 1;
  while (end < text.size() && IsAddressCharacter(text[end])) ++end;
  while (end > at + 1 && text[end - 1] == '.') --end;  // a sentence's
  if (begin == at || text.substr(at, end - at).find('.') == std::string_view::npos) {
    return std::nullopt;
  }
  return std::pair(begin, end);
}

bool IsSeparator(char c) {
  return c == '\\' || c == '/';
}

// The user's name in a path, if `at` is where "\Users\" or "/home/" begins.
std::string_view UserAt(std::string_view text, std::string_view lowered, std::size_t at) {
  for (const std::string_view folder : {"users", "home"}) {
    std::size_t place = at;
    while (place < text.size() && IsSeparator(text[place])) ++place;
    if (place == at || !lowered.substr(place).starts_with(folder)) continue;
    place += folder.size();
    const std::size_t begin = std::min(text.find_first_not_of("\\/", place), text.size());
    if (begin == place) continue;
    const std::size_t end = std::min(text.find_first_of("\\/\"\r\n", begin), text.size());
    return text.substr(begin, end - begin);
  }
  return {};
}

}  // namespace

std::string Redactor::Token(const char* kind, std::string_view text) {
  if (text.empty()) return {};
  const auto [known, isNew] = m_tokens.try_emplace(Lowered(text));
  if (isNew) known->second = kind + ("-" + std::to_string(++m_counts[kind]));
  return known->second;
}

std::string Redactor::Address(std::string_view text) {
  const std::size_t at = text.rfind('@');
  const auto found = m_tokens.find(Lowered(text));
  if (found != m_tokens.end()) return found->second;
  std::string token = Token("address", text);
  if (at == std::string_view::npos || at + 1 == text.size() || text.starts_with('/')) return token;
  const std::string_view domain = text.substr(at + 1);
  token += "@" + (m_keepsDomains ? std::string(domain) : Token("domain", domain));
  m_tokens[Lowered(text)] = token;
  return token;
}

// Keeps a short extension, and knows a file by its name in whatever folder.
std::string Redactor::FileName(std::string_view text) {
  const std::size_t leaf = text.find_last_of("\\/") + 1;
  const std::string_view name = text.substr(leaf);
  const std::size_t dot = name.rfind('.');
  std::string token = leaf == 0 ? std::string() : Token("folder", text.substr(0, leaf)) + "\\";
  if (name.empty()) return token;
  token += Token("file", name);
  if (dot != std::string_view::npos && name.size() - dot <= 5 && dot + 1 < name.size()) {
    token += name.substr(dot);
  }
  return token;
}

std::string Redactor::Message(std::string_view message) {
  for (const TextMessage& known : kTextMessages) {
    if (!message.starts_with(known.begin)) continue;
    std::string_view text = message.substr(known.begin.size());
    // A message that was cut has no end.
    const std::size_t end = known.end.empty() ? std::string_view::npos : text.rfind(known.end);
    const std::string_view rest = end == std::string_view::npos ? "" : text.substr(end);
    text = text.substr(0, end);
    const std::string_view kind = known.kind;
    return std::string(known.begin) +
           (kind == "file" ? FileName(text)
            : kind == "address" || (kind == "name" && text.find('@') != std::string_view::npos)
                ? Address(text)
                : Token(known.kind, text)) +
           std::string(rest);
  }
  if (message.starts_with(kAttachment)) {
    const std::string_view text = message.substr(kAttachment.size());
    const std::size_t name = text.find(kAttachmentName);
    std::string redacted = std::string(kAttachment) + FileName(text.substr(0, name));
    if (name == std::string_view::npos) return redacted;
    return redacted + std::string(kAttachmentName) +
           FileName(text.substr(name + kAttachmentName.size()));
  }
  const bool isPlain =
      std::any_of(std::begin(kPlainMessages), std::end(kPlainMessages),
                  [&](std::string_view known) { return message.starts_with(known); });
  return isPlain ? Text(message) : Token("text", message);
}

std::string Redactor::LogLine(std::string_view line) {
  std::string buffer;
  const auto parsed = logs::ParseSourceLine(line, &buffer);
  const bool isInside = parsed && parsed->line.message.data() >= line.data() &&
                        parsed->line.message.data() <= line.data() + line.size();
  if (!isInside) return Token("text", line);
  const auto begin = static_cast<std::size_t>(parsed->line.message.data() - line.data());
  return Text(line.substr(0, begin)) + Message(parsed->line.message);
}

std::string Redactor::Text(std::string_view text) {
  const std::string lowered = Lowered(text);
  std::string redacted;
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '@') {
      const auto address = AddressAround(text, i);
      if (!address || address->first < copied) continue;
      redacted += text.substr(copied, address->first - copied);
      redacted += Address(text.substr(address->first, address->second - address->first));
      copied = address->second;
      i = copied - 1;
    } else if (IsSeparator(text[i]) && i >= copied) {
      const std::string_view user = UserAt(text, lowered, i);
      if (user.empty()) continue;
      const auto begin = static_cast<std::size_t>(user.data() - text.data());
      redacted += text.substr(copied, begin - copied);
      redacted += Token("user", user);
      copied = begin + user.size();
      i = copied - 1;
    }
  }
  redacted += text.substr(copied);
  return redacted;
}

void Redactor::KeepWordsOf(std::string_view text) {
  m_kept += Lowered(text) + "\n";
  m_indexed = 0;
}

void Redactor::BuildIndex() {
  if (m_indexed == m_tokens.size() && m_indexed != 0) return;
  m_index.clear();
  m_unsearched = 0;
  m_indexed = m_tokens.size();
  std::string kept = m_kept + "address- domain- folder- outlook> info: warn: err: crit: all: ";
  for (const TextMessage& known : kTextMessages) kept += Lowered(known.begin) + "\n";
  for (const std::string_view known : kPlainMessages) kept += Lowered(known) + "\n";
  kept += Lowered(kAttachment) + std::string(kAttachmentName);
  for (const auto& [text, token] : m_tokens) {
    const bool isNumber = text.find_first_not_of("0123456789abcdefx :/.-") == std::string::npos;
    if (text.size() < kLeastSecret || isNumber || kept.find(text) != std::string::npos) {
      ++m_unsearched;
    } else {
      m_index[text.substr(0, kLeastSecret)].push_back(text);
    }
  }
  for (auto& [begin, texts] : m_index) {
    std::sort(texts.begin(), texts.end(), [](const std::string& one, const std::string& other) {
      return one.size() > other.size();
    });
  }
}

const std::string* Redactor::SecretAt(std::string_view lowered, std::size_t at) const {
  const std::string_view rest = lowered.substr(at);
  if (rest.size() < kLeastSecret) return nullptr;
  const auto found = m_index.find(std::string(rest.substr(0, kLeastSecret)));
  if (found == m_index.end()) return nullptr;
  for (const std::string& text : found->second) {
    if (rest.starts_with(text)) return &text;
  }
  return nullptr;
}

std::string Redactor::WithoutSecrets(std::string_view text) {
  BuildIndex();
  const std::string lowered = Lowered(text);
  std::string redacted;
  for (std::size_t i = 0; i < text.size();) {
    if (const std::string* const secret = SecretAt(lowered, i)) {
      redacted += m_tokens[*secret];
      i += secret->size();
    } else {
      redacted += text[i++];
    }
  }
  return redacted;
}

std::size_t Redactor::CountSecrets(std::string_view bytes) {
  BuildIndex();
  const std::string lowered = Lowered(bytes);
  std::size_t count = 0;
  for (std::size_t i = 0; i < lowered.size(); ++i) {
    if (SecretAt(lowered, i) != nullptr) ++count;
  }
  return count;
}

std::size_t Redactor::Unsearched() {
  BuildIndex();
  return m_unsearched;
}

}  // namespace inspection::bundle
