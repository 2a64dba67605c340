// Writing JSON.
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace tools {

// A JSON value, kept as its text. Objects keep their fields in the order in which they are added.
//
//   Json line = Json::Object();
//   line.Add("mail", path).Add("cancel", 1).Add("tag", Json());
//   fmt::print("{}\n", line.Text());
class Json {
 public:
  Json() : m_text("null") {}
  // Text in UTF-8. Each invalid sequence becomes U+FFFD.
  Json(std::string_view text);
  Json(const std::string& text) : Json(std::string_view(text)) {}
  Json(const char* text) : Json(std::string_view(text)) {}
  Json(bool value) : m_text(value ? "true" : "false") {}
  Json(std::integral auto value) : m_text(std::to_string(value)) {}
  Json(double value);
  // Null where there is no value.
  template <typename Value>
  Json(const std::optional<Value>& value) : Json(value ? Json(*value) : Json()) {}

  static Json Object();
  static Json Array();
  // An array of what `list` holds.
  template <typename List>
  static Json ArrayOf(const List& list) {
    Json array = Array();
    for (const auto& value : list) array.Add(value);
    return array;
  }

  // Adds a field to an object. The key isn't checked against earlier ones.
  Json& Add(std::string_view key, const Json& value);
  // Adds an element to an array.
  Json& Add(const Json& value);

  // Without a line end, and without blanks between the parts.
  const std::string& Text() const { return m_text; }

 private:
  void Append(std::string_view text);

  std::string m_text;
};

}  // namespace tools
