#include "simulation/mail/encodedwords.h"

#include <fmt/format.h>
#include <glib.h>

#include <memory>
#include <optional>

namespace simulation::mail {

namespace {

std::string Quoted(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) text += fmt::format("={:02X}", static_cast<unsigned char>(c));
  return text;
}

// The bytes that a word's base64 encodes; absent if it contains another character.
std::optional<std::string> Base64Bytes(std::string_view text) {
  if (text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=") !=
      std::string_view::npos) {
    return std::nullopt;
  }
  // Some writers omit the padding.
  std::string padded(text.substr(0, text.find('=')));
  padded.append((4 - padded.size() % 4) % 4, '=');
  gsize size = 0;
  const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(padded.c_str(), &size),
                                                         &g_free);
  return std::string(reinterpret_cast<const char*>(bytes.get()), size);
}

}  // namespace

std::string WithQuotedWords(std::string_view header) {
  std::string result;
  std::size_t done = 0;
  while (true) {
    const std::size_t begin = header.find("=?", done);
    if (begin == std::string_view::npos) break;
    const std::size_t charsetEnd = header.find('?', begin + 2);
    const std::size_t end =
        charsetEnd == std::string_view::npos ? charsetEnd : header.find("?=", charsetEnd + 3);
    if (end == std::string_view::npos) break;
    const std::string_view encoding = header.substr(charsetEnd, 3);
    const auto bytes = encoding == "?B?" || encoding == "?b?"
                           ? Base64Bytes(header.substr(charsetEnd + 3, end - charsetEnd - 3))
                           : std::nullopt;
    if (!bytes) {
      result += header.substr(done, begin + 2 - done);
      done = begin + 2;
      continue;
    }
    result += header.substr(done, charsetEnd - done);
    result += "?Q?" + Quoted(*bytes) + "?=";
    done = end + 2;
  }
  result += header.substr(done);
  return result;
}

}  // namespace simulation::mail
