#include "config/profilereader.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/files.h"

namespace {

constexpr std::size_t kChunkSize = std::size_t{32} * 1024;

char ToLower(char character) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

bool IsBlank(char character) {
  return character == ' ' || character == '\t';
}

std::string_view WithoutBlanksInFront(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
  return text;
}

std::string_view WithoutBlanks(std::string_view text) {
  text = WithoutBlanksInFront(text);
  while (!text.empty() && IsBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// What the character behind a backslash stands for; NUL, which no pair gives, if it is no pair.
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

constexpr std::uint64_t Repeated(char character) {
  return 0x0101010101010101u * static_cast<unsigned char>(character);
}

// The high bit of the lowest zero byte, among others above it; 0 if no byte is zero.
constexpr std::uint64_t ZeroBytes(std::uint64_t word) {
  return (word - Repeated(0x01)) & ~word & 0x8080808080808080u;
}

// The first of the characters in [from, end), `end` if there is none. Lines are short, so that
// eight bytes at a time in place beat the library's memchr, which can look for only one.
template <char... Characters>
const char* FindFirst(const char* from, const char* end) {
  if constexpr (std::endian::native == std::endian::little) {
    while (end - from >= 8) {
      std::uint64_t word;
      std::memcpy(&word, from, sizeof word);
      const std::uint64_t hits = (ZeroBytes(word ^ Repeated(Characters)) | ...);
      if (hits != 0) {
        return from + std::countr_zero(hits) / 8;
      }
      from += 8;
    }
  }
  while (from != end && ((*from != Characters) && ...)) {
    ++from;
  }
  return from;
}

// Finds the wanted properties in a file that comes in chunks, cut anywhere. Every byte is looked
// at once, and of a line nothing is kept but what can still become a wanted key or value.
class PropertyScan {
 public:
  explicit PropertyScan(ProfileMap& wanted);

  void Take(const char* from, const char* end);

  // The file has ended: a last line without a line end counts like any other.
  void Finish();

 private:
  enum class Place { kKey, kValue, kRestOfLine };

  struct Wanted {
    std::string_view key;
    std::string* value;
  };

  const char* TakeKey(const char* from, const char* end);
  const char* TakeValue(const char* from, const char* end);
  void KeepKey(std::string_view part);
  std::string* FindWanted(std::string_view key);
  void StoreValue(std::string_view raw);

  std::vector<Wanted> m_wanted;
  std::size_t m_longestKey = 0;
  std::uint64_t m_keyLengths = 0;  // bit n: a wanted key has n characters, or bit 63: 63 or more

  Place m_place = Place::kKey;
  std::string m_part;              // of a key or a value, from the chunks before this one
  std::string* m_value = nullptr;  // where the value being read goes
  std::string m_lowered;           // a key being compared; a member to keep its memory
};

std::uint64_t LengthBit(std::size_t length) {
  return std::uint64_t{1} << (length < 63 ? length : 63);
}

PropertyScan::PropertyScan(ProfileMap& wanted) {
  m_wanted.reserve(wanted.size());
  for (auto& [key, value] : wanted) {
    m_wanted.push_back({key, &value});
    m_keyLengths |= LengthBit(key.size());
    m_longestKey = key.size() > m_longestKey ? key.size() : m_longestKey;
  }
}

void PropertyScan::Take(const char* from, const char* end) {
  while (from != end) {
    switch (m_place) {
      case Place::kKey:
        from = TakeKey(from, end);
        break;
      case Place::kValue:
        from = TakeValue(from, end);
        break;
      case Place::kRestOfLine:
        from = FindFirst<'\n'>(from, end);
        if (from != end) {
          ++from;
          m_place = Place::kKey;
        }
        break;
    }
  }
}

const char* PropertyScan::TakeKey(const char* from, const char* end) {
  const char* const found = FindFirst<'=', '\n'>(from, end);
  const std::string_view part(from, static_cast<std::size_t>(found - from));
  if (found == end) {
    KeepKey(part);
    return end;
  }
  if (*found == '\n') {
    m_part.clear();
    return found + 1;
  }
  if (m_part.empty()) {
    m_value = FindWanted(WithoutBlanks(part));
  } else {
    KeepKey(part);
    m_value = FindWanted(WithoutBlanks(m_part));
    m_part.clear();
  }
  m_place = m_value != nullptr ? Place::kValue : Place::kRestOfLine;
  return found + 1;
}

// Adds to a key that a chunk's end has cut. Blanks in front of it don't count, and a key that is
// longer than all that are wanted matches none of them, no matter how it goes on, unless it goes
// on with blanks alone. So one character more than the longest wanted key is enough of it, and if
// that one is a blank the next character that isn't must take its place.
void PropertyScan::KeepKey(std::string_view part) {
  if (m_part.empty()) {
    part = WithoutBlanksInFront(part);
  }
  for (const char character : part) {
    if (m_part.size() <= m_longestKey) {
      m_part.push_back(character);
    } else if (!IsBlank(character)) {
      m_part.back() = character;
      return;
    }
  }
}

// The value that a line with this key sets, null if nobody wants it. The key has no blanks around
// it, and its letters are as the file has them.
std::string* PropertyScan::FindWanted(std::string_view key) {
  if ((m_keyLengths & LengthBit(key.size())) == 0) {
    return nullptr;
  }
  for (const Wanted& wanted : m_wanted) {
    if (wanted.key.size() != key.size()) {
      continue;
    }
    if (!key.empty()) {
      // Most keys of the right length differ in the last character, which costs no copy to see.
      // It is left as it is behind a NUL, so both forms have to differ.
      if (key.back() != wanted.key.back() && ToLower(key.back()) != wanted.key.back()) {
        continue;
      }
      m_lowered.assign(key);
      ToLowerInPlace(m_lowered);
      if (m_lowered != wanted.key) {
        continue;
      }
    }
    return wanted.value;
  }
  return nullptr;
}

const char* PropertyScan::TakeValue(const char* from, const char* end) {
  const char* const found = FindFirst<'\n'>(from, end);
  std::string_view raw(from, static_cast<std::size_t>(found - from));
  if (found == end || !m_part.empty()) {
    m_part.append(m_part.empty() ? WithoutBlanksInFront(raw) : raw);
    raw = m_part;
  }
  if (found == end) {
    return end;
  }
  if (!raw.empty() && raw.back() == '\r') {
    raw.remove_suffix(1);  // the CR of a CR LF, which is one line end
  }
  StoreValue(raw);
  return found + 1;
}

void PropertyScan::StoreValue(std::string_view raw) {
  *m_value = UnescapeValue(WithoutBlanks(raw));
  m_part.clear();
  m_place = Place::kKey;
}

void PropertyScan::Finish() {
  if (m_place == Place::kValue) {
    StoreValue(m_part);
  }
}

// Closes the file on every way out.
struct OpenFile {
  platform::Handle handle;
  ~OpenFile() { platform::handles.CloseHandle(handle); }
};

}  // namespace

bool ProfileReader(const std::string& path, ProfileMap& wanted) {
  if (wanted.empty()) {
    return false;
  }
  const platform::Handle handle =
      platform::files.CreateFileA(path.c_str(), platform::kGenericRead, platform::kShareReadWrite,
                                  nullptr, platform::kOpenExisting, platform::kFileAttributeNormal);
  if (handle == platform::kInvalidHandle) {
    return false;
  }
  const OpenFile file{handle};
  PropertyScan scan(wanted);
  char chunk[kChunkSize];
  std::uint32_t read = 0;
  while (platform::files.ReadFile(file.handle, chunk, kChunkSize, &read) && read != 0) {
    scan.Take(chunk, chunk + read);
  }
  scan.Finish();
  return true;
}

std::string& TrimBlanks(std::string& text) {
  const std::string_view kept = WithoutBlanks(text);
  const std::size_t front = static_cast<std::size_t>(kept.data() - text.data());
  text.erase(front + kept.size());
  text.erase(0, front);
  return text;
}

void ToLowerInPlace(std::string& text) {
  for (char& character : text) {
    if (character == '\0') {
      return;
    }
    character = ToLower(character);
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
    const std::size_t backslash = std::min(text.find('\\', position), text.size());
    decoded.append(text, position, backslash - position);
    if (backslash == text.size()) {
      break;
    }
    // Going from the front, each backslash met here has an even number of others before it: pairs
    // are passed whole. So the count that IsEscapeAt makes, which on a text of nothing but
    // backslashes would make this quadratic, isn't needed.
    const char character = backslash + 1 < text.size() ? Decoded(text[backslash + 1]) : '\0';
    decoded.push_back(character != '\0' ? character : '\\');
    position = backslash + (character != '\0' ? 2 : 1);
  }
  return decoded;
}
