// Replacing what a log and a description say about people and mails.
//
// Addresses, names, subjects, bodies and file names become tokens. The same text gets the same
// token everywhere ("address-3@domain-1"), so that a mail's story can still be followed.
//
//      Redactor redactor(false);
//      std::string log = redactor.LogLine(line);    // each line of each log
//      std::string text = redactor.Text(settings);  // anything else
//      redactor.KeepWordsOf(text);
//      log = redactor.WithoutSecrets(log);          // once all logs are known
//      if (redactor.CountSecrets(log) > 0) ...      // the proof
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace inspection::bundle {

class Redactor {
 public:
  // With `keepsDomains`, an address keeps what is after its "@".
  explicit Redactor(bool keepsDomains) : m_keepsDomains(keepsDomains) {}

  // A line of a log without its line end. Of a line of the add-in's log, only messages that are
  // known to have no text of a mail are kept as they are. Any other line is replaced as a whole.
  std::string LogLine(std::string_view line);

  // Any other text: replaces the Internet addresses in it, and the user's name in the paths of
  // users' folders.
  std::string Text(std::string_view text);

  // Words that the bundle has to keep, such as "Outlook". A text that was replaced and is among
  // these words (or is shorter than kLeastSecret) isn't searched for: it would be found.
  void KeepWordsOf(std::string_view text);
  static constexpr std::size_t kLeastSecret = 4;

  // `text` with every text that was replaced so far replaced here too, whatever its case.
  std::string WithoutSecrets(std::string_view text);
  // How often a text that was replaced occurs in `bytes`, ignoring ASCII case.
  std::size_t CountSecrets(std::string_view bytes);

  // How many different texts were replaced, by the word in their token.
  const std::map<std::string, std::size_t>& Counts() const { return m_counts; }
  // How many of them aren't searched for.
  std::size_t Unsearched();

 private:
  std::string Token(const char* kind, std::string_view text);
  std::string Address(std::string_view text);
  std::string FileName(std::string_view text);
  std::string Message(std::string_view message);
  void BuildIndex();
  // The longest searched text that begins at the place; null if there is none.
  const std::string* SecretAt(std::string_view lowered, std::size_t at) const;

  bool m_keepsDomains;
  std::unordered_map<std::string, std::string> m_tokens;  // by the text in lower case
  std::map<std::string, std::size_t> m_counts;
  std::string m_kept;  // lower case
  // The searched texts by their first bytes, longest first. Empty until BuildIndex.
  std::unordered_map<std::string, std::vector<std::string>> m_index;
  std::size_t m_indexed = 0;  // how many tokens there were
  std::size_t m_unsearched = 0;
};

}  // namespace inspection::bundle
