#include "config/profilereader.h"

#include <cctype>

#include "platform/textlines.h"

namespace {

bool IsBlank(char character) {
  return character == ' ' || character == '\t';
}

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// The character that a backslash and `character` encode, or NUL if they are no escape pair.
char Decoded(char character) {
  switch (character) {
    case ',':
    case '\\':
    case '=':
    case '#':
      return character;
    case 't':
      return '\t';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 'v':
      return '\v';
    case 'f':
      return '\f';
    default:
      return '\0';
  }
}

bool KeyMatches(std::string_view key, const std::string& wanted) {
  // Most lines end here, before the copy.
  if (key.size() != wanted.size()) {
    return false;
  }
  std::string lowered(key);
  ToLowerInPlace(lowered);
  return lowered == wanted;
}

void TakeLine(std::string_view line, ProfileMap& wanted) {
  const std::size_t divider = line.find('=');
  if (divider == std::string_view::npos) {
    return;
  }
  const std::string_view key = WithoutBlanks(line.substr(0, divider));
  for (auto& [wantedKey, value] : wanted) {
    if (KeyMatches(key, wantedKey)) {
      value = UnescapeValue(WithoutBlanks(line.substr(divider + 1)));
    }
  }
}

}  // namespace

bool ProfileReader(const std::string& path, ProfileMap& wanted) {
  if (wanted.empty()) {
    return false;
  }
  platform::TextLines lines(path.c_str());
  if (!lines.IsOpen()) {
    return false;
  }
  std::string_view line;
  while (lines.Next(&line)) {
    TakeLine(line, wanted);
  }
  return true;
}

std::string& TrimBlanks(std::string& text) {
  text = std::string(WithoutBlanks(text));
  return text;
}

void ToLowerInPlace(std::string& text) {
  for (char& character : text) {
    if (character == '\0') {
      return;
    }
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
}

bool IsEscapeAt(std::string_view text, std::size_t position) {
  if (text.empty() || position >= text.size() - 1) {
    return false;
  }
  std::size_t backslashes = 0;
  while (backslashes <= position && text[position - backslashes] == '\\') {
    ++backslashes;
  }
  return backslashes % 2 != 0 && Decoded(text[position + 1]) != '\0';
}

std::string UnescapeValue(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  std::size_t position = 0;
  while (position < text.size()) {
    // Pairs are consumed whole, so an even number of backslashes precedes each one that is met
    // here, and IsEscapeAt, which counts them each time, isn't needed.
    const bool isPair =
        text[position] == '\\' && position + 1 < text.size() && Decoded(text[position + 1]) != '\0';
    decoded.push_back(isPair ? Decoded(text[position + 1]) : text[position]);
    position += isPair ? 2 : 1;
  }
  return decoded;
}
