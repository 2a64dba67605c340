// The properties of one object in a .msg: the message, a recipient or an attachment.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "simulation/mail/storage.h"

namespace simulation::mail {

// What precedes the list of properties in an object's property stream.
enum class MsgObject : std::size_t {
  kMessage = 32,
  kEmbeddedMessage = 24,
  kOther = 8,
};

// The stream with an object's list of properties.
inline constexpr const char* kMsgPropertyStream = "__properties_version1.0";

class MsgProperties {
 public:
  // `storage` is the object's and has to outlive this. Properties that can't be read are absent.
  // Text in a code page is in `codePage` unless the object names its own.
  MsgProperties(const Storage& storage, MsgObject object, std::uint32_t codePage);

  std::optional<std::int32_t> Number(std::uint16_t id) const;
  // As UTF-8, without a NUL at its end.
  std::optional<std::string> Text(std::uint16_t id) const;
  std::optional<std::string> Bytes(std::uint16_t id) const;
  // An embedded object; null if there is none.
  const Storage* Object(std::uint16_t id) const;

  // The code page of the object's text.
  std::uint32_t CodePage() const { return m_codePage; }

 private:
  const std::string* Stream(std::uint16_t id, std::uint16_t type) const;

  const Storage& m_storage;
  std::uint32_t m_codePage;
  std::map<std::uint16_t, std::int32_t> m_numbers;  // those of 32 bits or fewer
};

}  // namespace simulation::mail
