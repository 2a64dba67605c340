// The conversions between UTF-16 and UTF-8, compared with iconv: valid text converts to the same
// result, invalid UTF-8 to the empty text, and a lone surrogate to U+FFFD. The text helpers are
// compared with simple versions of themselves.
//
// The first byte says what follows: bytes, UTF-16 units, a text to split, a card number, or
// characters to combine. Nearly all of these are valid, because a text with many errors hides each
// single one.
#include <iconv.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzzing.h"
#include "text/textconversion.h"
#include "text/texthelpers.h"

namespace {

using fuzzing::Require;
using platform::WideString;
using platform::WideStringView;

// Empty if iconv refuses the text.
std::optional<std::string> Converted(iconv_t converter, std::string_view text) {
  std::string result(3 * text.size() + 4, '\0');
  char* from = const_cast<char*>(text.data());
  std::size_t left = text.size();
  char* to = result.data();
  std::size_t room = result.size();
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &from, &left, &to, &room) == static_cast<std::size_t>(-1) || left != 0) {
    return std::nullopt;
  }
  result.resize(result.size() - room);
  return result;
}

std::string_view BytesOf(WideStringView text) {
  return {reinterpret_cast<const char*>(text.data()), 2 * text.size()};
}

bool IsHigh(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLow(char16_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

void CheckUtf8(std::string_view bytes) {
  static const iconv_t toWide = iconv_open("UTF-16LE", "UTF-8");
  const std::optional<std::string> expected = Converted(toWide, bytes);
  const WideString wide = Utf8ToWide(bytes);
  Require(BytesOf(wide) == expected.value_or(std::string()), "UTF-8 converts to wide as in iconv");
  Require(AnsiToWide(bytes) == wide, "the ANSI code page is UTF-8");
  if (!expected) return;
  Require(WideToUtf8(wide) == bytes, "valid UTF-8 survives the round trip");
  Require(Utf8ToAnsi(bytes) == bytes && AnsiToUtf8(bytes) == bytes, "both narrow forms are UTF-8");
}

void CheckWide(std::string_view bytes) {
  static const iconv_t toUtf8 = iconv_open("UTF-8", "UTF-16LE");
  WideString wide(bytes.size() / 2, u'\0');
  std::memcpy(wide.data(), bytes.data(), 2 * wide.size());
  WideString mended = wide;
  for (std::size_t i = 0; i < mended.size(); ++i) {
    if (IsHigh(mended[i]) && i + 1 < mended.size() && IsLow(mended[i + 1])) {
      ++i;
    } else if (IsHigh(mended[i]) || IsLow(mended[i])) {
      mended[i] = 0xFFFD;
    }
  }
  const std::string narrow = WideToUtf8(wide);
  const std::optional<std::string> expected = Converted(toUtf8, BytesOf(mended));
  Require(expected && narrow == *expected, "wide converts to UTF-8 as in iconv");
  Require(Utf8ToWide(narrow) == mended, "valid text survives the round trip");
  Require(WideToAnsi(wide) == narrow, "the ANSI code page is UTF-8");
}

// Encodes any number in `length` bytes, even where UTF-8 doesn't allow that length.
void AppendForm(std::uint32_t number, int length, std::string* text) {
  constexpr int kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (int i = length - 1; i >= 0; --i) {
    const std::uint32_t part = number >> 6 * i;
    const std::uint32_t lead =
        static_cast<std::uint32_t>(kLeads[length]) | (part & (0x7FU >> length));
    *text += static_cast<char>(i == length - 1 ? lead : 0x80U | (part & 0x3FU));
  }
}

void CheckPieces(fuzzing::Input input) {
  std::string text;
  while (!input.IsEmpty()) {
    const std::uint8_t piece = input.Byte();
    switch (piece % 8) {
      case 0:
        text += static_cast<char>(piece / 2);
        break;
      case 1:
        text.append(piece / 8U, 'a');
        break;
      case 2:
        AppendForm(input.Byte() * 8U + piece / 32U, 2, &text);
        break;
      case 3:
      case 4:
        AppendForm(input.Half(), 3, &text);
        break;
      case 5:
      case 6:
        AppendForm(input.Half() * 32U + piece / 8U, 4, &text);
        break;
      default:
        text += input.Bytes(1);
        break;
    }
  }
  CheckUtf8(fuzzing::ExactBytes(text).View());
  CheckWide(text);
}

std::vector<std::string> SplitPlainly(std::string_view text, std::string_view delimiter) {
  if (delimiter.empty()) return {std::string(text)};
  std::vector<std::string> pieces(1);
  for (std::size_t at = 0; at < text.size();) {
    if (text.substr(at).starts_with(delimiter)) {
      pieces.emplace_back();
      at += delimiter.size();
    } else {
      pieces.back() += text[at++];
    }
  }
  std::erase(pieces, std::string());
  return pieces;
}

void CheckSplit(fuzzing::Input input) {
  const std::string delimiter(input.Bytes(input.Byte() % 4));
  const fuzzing::ExactBytes text(input.Rest());
  std::vector<std::string> pieces = {"old"};
  SplitString(text.View(), pieces, delimiter);
  const std::vector<std::string> expected = SplitPlainly(text.View(), delimiter);
  Require(pieces == expected, "the pieces between delimiters");
  const WideString wide = Utf8ToWide(text.View());
  const WideString wideDelimiter = Utf8ToWide(delimiter);
  if (wide.empty() || wideDelimiter.empty()) return;
  std::vector<WideString> widePieces;
  SplitWideString(wide, widePieces, wideDelimiter);
  Require(widePieces.size() == expected.size(), "as many wide pieces");
  for (std::size_t i = 0; i < expected.size(); ++i) {
    Require(WideToUtf8(widePieces[i]) == expected[i], "the same pieces, wide");
  }
}

void CheckCardNumber(std::string_view text) {
  std::size_t digits = 0;
  bool isOther = false;
  for (const char c : text) {
    digits += c >= '0' && c <= '9' ? 1 : 0;
    isOther = isOther || !((c >= '0' && c <= '9') || c == ' ' || c == '-');
  }
  const std::string masked = MaskCardNumber(text, '*');
  Require(masked.size() == text.size(), "masking keeps the length");
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    seen += isDigit ? 1 : 0;
    const bool isHidden = !isOther && digits >= 14 && isDigit && seen > 6 && seen + 4 <= digits;
    Require(masked[i] == (isHidden ? '*' : text[i]), "exactly the middle digits are hidden");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  switch (input.Byte() % 8) {
    case 0:
      CheckUtf8(fuzzing::ExactBytes(input.Rest()).View());
      break;
    case 1:
      CheckWide(input.Rest());
      break;
    case 2:
      CheckSplit(input);
      break;
    case 3:
      CheckCardNumber(fuzzing::ExactBytes(input.Rest()).View());
      break;
    default:
      CheckPieces(input);
      break;
  }
  return 0;
}
