#include "tools/json.h"

#include <fmt/format.h>

#include <cstdint>

#include "tools/text.h"

namespace tools {

namespace {

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : ValidUtf8(text)) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (c == '\n') {
      quoted += "\\n";
    } else if (c == '\r') {
      quoted += "\\r";
    } else if (c == '\t') {
      quoted += "\\t";
    } else if (static_cast<unsigned char>(c) < 0x20) {
      quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

}  // namespace

Json::Json(std::string_view text) : m_text(Quoted(text)) {}

Json::Json(double value) : m_text(fmt::format("{}", value)) {}

Json Json::Object() {
  Json object;
  object.m_text = "{}";
  return object;
}

Json Json::Array() {
  Json array;
  array.m_text = "[]";
  return array;
}

Json& Json::Add(std::string_view key, const Json& value) {
  Append(Quoted(key) + ":" + value.m_text);
  return *this;
}

Json& Json::Add(const Json& value) {
  Append(value.m_text);
  return *this;
}

void Json::Append(std::string_view text) {
  const char end = m_text.back();
  m_text.pop_back();
  if (m_text.size() > 1) m_text += ',';
  m_text.append(text).push_back(end);
}

}  // namespace tools
