#include "simulation/mail/msgproperties.h"

#include <cstdio>
#include <string_view>

#include "simulation/mail/codepage.h"

namespace simulation::mail {

namespace {

constexpr std::uint16_t kTypeShort = 0x0002;
constexpr std::uint16_t kTypeLong = 0x0003;
constexpr std::uint16_t kTypeBoolean = 0x000B;
constexpr std::uint16_t kTypeObject = 0x000D;
constexpr std::uint16_t kTypeString8 = 0x001E;
constexpr std::uint16_t kTypeUnicode = 0x001F;
constexpr std::uint16_t kTypeBinary = 0x0102;

constexpr std::uint16_t kMessageCodePage = 0x3FFD;

constexpr std::uint32_t kCodePageUtf16 = 1200;

// An entry in the list: type, id, flags, and a value or the size of one.
constexpr std::size_t kEntry = 16;

std::uint32_t NumberAt(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t i = size; i-- > 0;) {
    number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  }
  return number;
}

std::string StreamName(std::uint16_t id, std::uint16_t type) {
  char name[32];
  std::snprintf(name, sizeof(name), "__substg1.0_%04X%04X", id, type);
  return name;
}

std::string WithoutTrailingNul(std::string text) {
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

}  // namespace

MsgProperties::MsgProperties(const Storage& storage, MsgObject object, std::uint32_t codePage)
    : m_storage(storage), m_codePage(codePage) {
  const auto list = storage.streams.find(kMsgPropertyStream);
  if (list == storage.streams.end()) return;
  const std::string& bytes = list->second;
  for (std::size_t at = static_cast<std::size_t>(object); at + kEntry <= bytes.size();
       at += kEntry) {
    const auto type = static_cast<std::uint16_t>(NumberAt(bytes, at, 2));
    const auto id = static_cast<std::uint16_t>(NumberAt(bytes, at + 2, 2));
    if (type == kTypeLong) {
      m_numbers[id] = static_cast<std::int32_t>(NumberAt(bytes, at + 8, 4));
    } else if (type == kTypeShort || type == kTypeBoolean) {
      m_numbers[id] = static_cast<std::int16_t>(NumberAt(bytes, at + 8, 2));
    }
  }
  if (const auto own = Number(kMessageCodePage); own && *own > 0) {
    m_codePage = static_cast<std::uint32_t>(*own);
  }
}

std::optional<std::int32_t> MsgProperties::Number(std::uint16_t id) const {
  const auto found = m_numbers.find(id);
  if (found == m_numbers.end()) return std::nullopt;
  return found->second;
}

std::optional<std::string> MsgProperties::Text(std::uint16_t id) const {
  if (const std::string* const wide = Stream(id, kTypeUnicode)) {
    return WithoutTrailingNul(CodePageToUtf8(kCodePageUtf16, *wide));
  }
  if (const std::string* const narrow = Stream(id, kTypeString8)) {
    return WithoutTrailingNul(CodePageToUtf8(m_codePage, *narrow));
  }
  return std::nullopt;
}

std::optional<std::string> MsgProperties::Bytes(std::uint16_t id) const {
  const std::string* const bytes = Stream(id, kTypeBinary);
  if (bytes == nullptr) return std::nullopt;
  return *bytes;
}

const Storage* MsgProperties::Object(std::uint16_t id) const {
  const auto found = m_storage.storages.find(StreamName(id, kTypeObject));
  return found == m_storage.storages.end() ? nullptr : &found->second;
}

const std::string* MsgProperties::Stream(std::uint16_t id, std::uint16_t type) const {
  const auto found = m_storage.streams.find(StreamName(id, type));
  return found == m_storage.streams.end() ? nullptr : &found->second;
}

}  // namespace simulation::mail
