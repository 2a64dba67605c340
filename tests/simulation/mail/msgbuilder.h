// Builds the contents of a .msg by hand: properties, recipients and attachments.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "simulation/mail/msgproperties.h"
#include "simulation/mail/storage.h"

namespace tests {

inline std::string LittleEndian(std::uint64_t number, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
  return bytes;
}

// ASCII as UTF-16.
inline std::string Wide(std::string_view ascii) {
  std::string bytes;
  for (const char c : ascii) bytes += std::string{c, '\0'};
  return bytes;
}

class MsgObject {
 public:
  explicit MsgObject(simulation::mail::MsgObject kind) {
    m_storage.streams[simulation::mail::kMsgPropertyStream] =
        std::string(static_cast<std::size_t>(kind), '\0');
  }

  // A number: tag 0003.
  MsgObject& Number(std::uint16_t id, std::int32_t value) {
    List() += LittleEndian(0x0003, 2) + LittleEndian(id, 2) + LittleEndian(6, 4) +
              LittleEndian(static_cast<std::uint32_t>(value), 8);
    return *this;
  }
  // ASCII text, as Unicode: tag 001F.
  MsgObject& Text(std::uint16_t id, std::string_view ascii) {
    return Value(id, 0x001F, Wide(ascii));
  }
  // Any value that has a stream.
  MsgObject& Value(std::uint16_t id, std::uint16_t type, std::string bytes) {
    List() += LittleEndian(type, 2) + LittleEndian(id, 2) + LittleEndian(6, 4) +
              LittleEndian(bytes.size(), 8);
    m_storage.streams[Name(id, type)] = std::move(bytes);
    return *this;
  }
  // An embedded object: tag 000D.
  MsgObject& Object(std::uint16_t id, const simulation::mail::Storage& object) {
    m_storage.storages[Name(id, 0x000D)] = object;
    return *this;
  }
  MsgObject& Recipient(const MsgObject& recipient) {
    return Child("__recip_version1.0_#%08X", m_recipients++, recipient);
  }
  MsgObject& Attachment(const MsgObject& attachment) {
    return Child("__attach_version1.0_#%08X", m_attachments++, attachment);
  }

  const simulation::mail::Storage& Contents() const { return m_storage; }

 private:
  static std::string Name(std::uint16_t id, std::uint16_t type) {
    char name[32];
    std::snprintf(name, sizeof(name), "__substg1.0_%04X%04X", id, type);
    return name;
  }
  MsgObject& Child(const char* format, unsigned number, const MsgObject& child) {
    char name[40];
    std::snprintf(name, sizeof(name), format, number);
    m_storage.storages[name] = child.m_storage;
    return *this;
  }
  std::string& List() { return m_storage.streams[simulation::mail::kMsgPropertyStream]; }

  simulation::mail::Storage m_storage;
  unsigned m_recipients = 0;
  unsigned m_attachments = 0;
};

inline MsgObject Message() {
  return MsgObject(simulation::mail::MsgObject::kMessage);
}
inline MsgObject EmbeddedMessage() {
  return MsgObject(simulation::mail::MsgObject::kEmbeddedMessage);
}
inline MsgObject Part() {
  return MsgObject(simulation::mail::MsgObject::kOther);
}

}  // namespace tests
