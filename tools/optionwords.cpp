#include "tools/optionwords.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>
#include <type_traits>

namespace tools {

bool IsPositional(const Option& option) {
  return !option.name.starts_with('-');
}

std::vector<std::string> OptionNames(const Option& option) {
  std::vector<std::string> names;
  std::istringstream words(option.name);
  for (std::string word; std::getline(words, word, ',');) names.push_back(word);
  return names;
}

ValueKind KindOf(const Option& option) {
  // What the commands call an argument that is a file or a folder.
  static constexpr std::array<std::string_view, 5> kFiles = {"BUNDLE", "FILE", "FOLDER", "MAIL",
                                                             "RUN"};
  const std::string name = ValueName(option);
  if (name.empty()) return ValueKind::kNone;
  if (!option.oneOf.empty()) return ValueKind::kOneOf;
  return std::find(kFiles.begin(), kFiles.end(), name) != kFiles.end() ? ValueKind::kFile
                                                                       : ValueKind::kOther;
}

std::string ValueName(const Option& option) {
  if (std::holds_alternative<bool*>(option.target)) return "";
  if (IsPositional(option)) return option.name;
  if (!option.valueName.empty()) return option.valueName;
  const bool isText = std::holds_alternative<std::string*>(option.target) ||
                      std::holds_alternative<std::vector<std::string>*>(option.target);
  return isText ? "TEXT" : "NUMBER";
}

std::string ShownDefault(const Option& option) {
  if (!option.showsDefault) return "";
  return std::visit(
      []([[maybe_unused]] const auto* target) -> std::string {
        using Value = std::remove_cvref_t<decltype(*target)>;
        if constexpr (std::is_same_v<Value, std::string>) {
          return *target;
        } else if constexpr (std::is_integral_v<Value> && !std::is_same_v<Value, bool>) {
          return std::to_string(*target);
        } else {
          return "";
        }
      },
      option.target);
}

bool IsRepeatable(const Option& option) {
  return std::holds_alternative<std::vector<std::string>*>(option.target);
}

std::string Joined(const std::vector<std::string>& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

}  // namespace tools
