#include "tools/expectations.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "simulation/agent/toml.h"
#include "text/suggestion.h"
#include "tools/inputfile.h"
#include "tools/text.h"

namespace tools {
namespace {

constexpr std::array<std::string_view, 1> kFileKeys = {"mail"};
constexpr std::array<std::string_view, 2> kMailKeys = {"file", "must_be"};
constexpr std::array<std::string_view, 3> kOutcomes = {"blocked", "sent", "tagged"};

class Reader {
 public:
  Reader(const std::string& path, std::string_view text) : m_path(path), m_text(text) {}

  ExpectationFile Read() {
    try {
      const toml::table file = toml::parse(m_text);
      CheckKeys(file, kFileKeys);
      ReadMails(file);
    } catch (const toml::parse_error& wrong) {
      Mistake(wrong.source().begin, std::string(wrong.description()));
    }
    return std::move(m_result);
  }

 private:
  void Mistake(const toml::source_position& place, const std::string& message) {
    m_result.mistakes.push_back(Printable(m_path) + ":" + std::to_string(place.line) + ":" +
                                std::to_string(place.column) + ": " + Printable(message));
  }

  void CheckKeys(const toml::table& table, std::span<const std::string_view> known) {
    for (const auto& [key, value] : table) {
      if (std::find(known.begin(), known.end(), key.str()) != known.end()) continue;
      Mistake(key.source().begin,
              "unknown key \"" + std::string(key.str()) + "\"" + Suggestion(key.str(), known));
    }
  }

  void ReadMails(const toml::table& file) {
    const toml::array* const mails = file.get_as<toml::array>("mail");
    if (mails == nullptr || mails->empty()) {
      return Mistake({1, 1}, "there is no [[mail]] in this file");
    }
    for (const toml::node& mail : *mails) {
      if (const toml::table* const table = mail.as_table()) {
        ReadMail(*table);
      } else {
        Mistake(mail.source().begin, "each mail is a table: [[mail]]");
      }
    }
  }

  // The text under that key; null, and a mistake, if there is none.
  const toml::value<std::string>* TextAt(const toml::table& table, std::string_view key) {
    const toml::node* const node = table.get(key);
    if (node != nullptr && node->is_string()) return node->as_string();
    Mistake(node != nullptr ? node->source().begin : table.source().begin,
            node != nullptr ? "\"" + std::string(key) + "\" must be a text"
                            : "the mail has no \"" + std::string(key) + "\"");
    return nullptr;
  }

  void ReadMail(const toml::table& table) {
    CheckKeys(table, kMailKeys);
    const toml::value<std::string>* const file = TextAt(table, "file");
    const toml::value<std::string>* const outcome = TextAt(table, "must_be");
    if (file == nullptr || outcome == nullptr) return;
    if (std::find(kOutcomes.begin(), kOutcomes.end(), outcome->get()) == kOutcomes.end()) {
      return Mistake(outcome->source().begin,
                     "must_be is \"blocked\", \"sent\" or \"tagged\", not \"" + outcome->get() +
                         "\"" + Suggestion(outcome->get(), kOutcomes));
    }
    const std::filesystem::path path = PathOf(m_path).parent_path() / PathOf(file->get());
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
      return Mistake(file->source().begin, "there is no file \"" + file->get() + "\"");
    }
    const std::u8string text = path.u8string();
    m_result.mails.push_back({.file = {text.begin(), text.end()},
                              .outcome = outcome->get(),
                              .line = table.source().begin.line});
  }

  const std::string& m_path;
  std::string_view m_text;
  ExpectationFile m_result;
};

}  // namespace

ExpectationFile ParseExpectations(const std::string& path, std::string_view text) {
  return Reader(path, text).Read();
}

}  // namespace tools
