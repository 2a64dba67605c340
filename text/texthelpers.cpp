#include "text/texthelpers.h"

#include "platform/diagnostics.h"
#include "text/textconversion.h"

namespace {

constexpr std::size_t kGuidLength = 38;

// A card number has at least 14 digits. These stay visible:
constexpr std::size_t kLeastDigits = 14;
constexpr std::size_t kShownAtStart = 6;
constexpr std::size_t kShownAtEnd = 4;

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

}  // namespace

std::string GuidToString(const GUID& guid) {
  char text[kGuidLength + 1];
  FormatToBuffer(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                 static_cast<unsigned>(guid.Data1), static_cast<unsigned>(guid.Data2),
                 static_cast<unsigned>(guid.Data3), static_cast<unsigned>(guid.Data4[0]),
                 static_cast<unsigned>(guid.Data4[1]), static_cast<unsigned>(guid.Data4[2]),
                 static_cast<unsigned>(guid.Data4[3]), static_cast<unsigned>(guid.Data4[4]),
                 static_cast<unsigned>(guid.Data4[5]), static_cast<unsigned>(guid.Data4[6]),
                 static_cast<unsigned>(guid.Data4[7]));
  return std::string(text, kGuidLength);
}

void SplitString(std::string_view text, std::vector<std::string>& pieces,
                 std::string_view delimiter) {
  pieces.clear();
  if (delimiter.empty()) {
    pieces.emplace_back(text);
    return;
  }
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t found = text.find(delimiter, position);
    const std::size_t end = found == std::string_view::npos ? text.size() : found;
    if (end > position) {
      pieces.emplace_back(text.substr(position, end - position));
    }
    position = end + delimiter.size();
  }
}

void SplitWideString(platform::WideStringView text, std::vector<platform::WideString>& pieces,
                     platform::WideStringView delimiter) {
  std::vector<std::string> narrowPieces;
  SplitString(WideToUtf8(text), narrowPieces, WideToUtf8(delimiter));
  pieces.clear();
  pieces.reserve(narrowPieces.size());
  for (const std::string& piece : narrowPieces) {
    pieces.push_back(Utf8ToWide(piece));
  }
}

std::string MaskCardNumber(std::string_view text, char mask) {
  std::string masked(text);
  std::size_t digits = 0;
  for (const char character : text) {
    if (IsDigit(character)) {
      ++digits;
    } else if (character != ' ' && character != '-') {
      return masked;
    }
  }
  if (digits < kLeastDigits) {
    return masked;
  }
  // Blanks and hyphens keep their places, so overwrite the digits in place.
  std::size_t seen = 0;
  for (char& character : masked) {
    if (IsDigit(character)) {
      if (seen >= kShownAtStart && seen < digits - kShownAtEnd) {
        character = mask;
      }
      ++seen;
    }
  }
  return masked;
}

int FormatToBufferList(char* buffer, std::size_t size, const char* format, platform::Locale locale,
                       std::va_list arguments) {
  const bool hasRoom = buffer != nullptr && size != 0;
  if (!hasRoom || format == nullptr) {
    if (hasRoom) {
      buffer[0] = '\0';
    }
    platform::diagnostics.InvalidParameter();
    return -1;
  }
  const int length = platform::formatting.Format(buffer, size, format, locale, arguments);
  if (length >= 0 && static_cast<std::size_t>(length) < size) {
    return length;
  }
  buffer[0] = '\0';
  if (length >= 0) {
    platform::diagnostics.InvalidParameter();
  }
  return -1;
}

int FormatToBuffer(char* buffer, std::size_t size, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = FormatToBufferList(buffer, size, format, nullptr, arguments);
  va_end(arguments);
  return length;
}
