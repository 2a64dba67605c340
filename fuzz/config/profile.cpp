// The property file. The first two bytes say how the file is read (size of each read, where it
// fails); the rest is the file. ProfileReader's result is compared with a byte-by-byte reading.
#include <map>
#include <string>
#include <string_view>

#include "config/profilereader.h"
#include "fuzz/fuzzing.h"

namespace {

using fuzzing::Require;

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::string Decoded(std::string_view text) {
  constexpr std::string_view kNames = "ntrvf,\\=#";
  constexpr std::string_view kMeans = "\n\t\r\v\f,\\=#";
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t pair =
        text[i] == '\\' && i + 1 < text.size() ? kNames.find(text[i + 1]) : std::string_view::npos;
    if (pair != std::string_view::npos) ++i;
    result += pair != std::string_view::npos ? kMeans[pair] : text[i];
  }
  return result;
}

// Compares IsEscapeAt for each character with a walk over all pairs.
void CheckPairs(std::string_view text) {
  std::size_t next = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool opens = i == next && text[i] == '\\' && i + 1 < text.size() &&
                       std::string_view("ntrvf,\\=#").find(text[i + 1]) != std::string_view::npos;
    if (text[i] == '\\') Require(IsEscapeAt(text, i) == opens, "which backslash opens a pair");
    if (i == next) next += opens ? 2 : 1;
  }
}

void TakeLine(std::string_view line, ProfileMap* wanted) {
  const std::size_t sign = line.find('=');
  if (sign == std::string_view::npos) return;
  std::string key(WithoutBlanks(line.substr(0, sign)));
  for (char& letter : key) {
    if (letter == '\0') break;
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  const auto found = wanted->find(key);
  if (found != wanted->end()) found->second = Decoded(WithoutBlanks(line.substr(sign + 1)));
}

void ReadByteByByte(std::string_view file, ProfileMap* wanted) {
  std::string line;
  for (const char byte : file) {
    if (byte != '\n') {
      line += byte;
      continue;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    TakeLine(line, wanted);
    line.clear();
  }
  TakeLine(line, wanted);
}

ProfileMap Wanted() {
  return {{"", "none"},     {"a", "unset"},         {"x_name", ""},
          {"x_value", "d"}, {"X_Upper", "capital"}, {"use_challenge_response", "false"}};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::MemoryFile file;
  fuzzing::Input input(data, size);
  const std::size_t piece = input.Byte();
  const std::size_t failure = input.Byte();
  const fuzzing::ExactBytes content(input.Rest());
  const std::size_t failsBehind = failure == 0 ? content.View().size() + 1 : 16 * failure;
  file.Set(content.View(), piece == 0 ? content.View().size() : piece, failsBehind);

  ProfileMap found = Wanted();
  Require(ProfileReader("vrk.pro", found), "a file that can be opened is read");
  Require(file.OpenHandles() == 0, "the file is closed");
  ProfileMap expected = Wanted();
  ReadByteByByte(content.View().substr(0, failsBehind), &expected);
  Require(found == expected, "the values match a byte-by-byte reading");

  ProfileMap nothing;
  Require(!ProfileReader("vrk.pro", nothing) && nothing.empty(), "no key wanted, nothing read");
  CheckPairs(content.View().substr(0, 200));
  const std::string decoded = UnescapeValue(content.View());
  Require(decoded == Decoded(content.View()), "both decoders agree");
  return 0;
}
