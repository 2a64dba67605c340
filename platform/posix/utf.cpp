#include "platform/posix/utf.h"

namespace platform::posix {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Stores what fits and counts everything.
template <typename Char>
class BoundedOutput {
 public:
  BoundedOutput(Char* output, std::size_t capacity) : m_output(output), m_capacity(capacity) {}

  void Put(char32_t unit) {
    if (m_length < m_capacity) m_output[m_length] = static_cast<Char>(unit);
    ++m_length;
  }
  std::size_t Length() const { return m_length; }

 private:
  Char* m_output;
  std::size_t m_capacity;
  std::size_t m_length = 0;
};

void PutUtf8(char32_t point, BoundedOutput<char>& output) {
  if (point < 0x80) {
    output.Put(point);
    return;
  }
  if (point < 0x800) {
    output.Put(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      output.Put(0xE0 | point >> 12);
    } else {
      output.Put(0xF0 | point >> 18);
      output.Put(0x80 | (point >> 12 & 0x3F));
    }
    output.Put(0x80 | (point >> 6 & 0x3F));
  }
  output.Put(0x80 | (point & 0x3F));
}

void PutUtf16(char32_t point, BoundedOutput<char16_t>& output) {
  if (point < 0x10000) {
    output.Put(point);
  } else {
    output.Put(0xD800 + ((point - 0x10000) >> 10));
    output.Put(0xDC00 + (point & 0x3FF));
  }
}

struct Decoded {
  char32_t point;
  std::size_t length;  // in bytes
  bool valid;
};

// The first character of `text`, which isn't empty.
Decoded DecodeFirst(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {kReplacement, 1, false};

  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The range of the second byte excludes overlong forms, surrogates and points above U+10FFFF.
  unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t point = lead & (0x7Fu >> length);
  for (std::size_t index = 1; index < length; ++index) {
    if (index == text.size()) return {kReplacement, index, false};
    const auto byte = static_cast<unsigned char>(text[index]);
    if (byte < least || byte > most) return {kReplacement, index, false};
    point = point << 6 | (byte & 0x3Fu);
    least = 0x80;
    most = 0xBF;
  }
  return {point, length, true};
}

}  // namespace

std::size_t EncodeUtf8(std::u16string_view text, char* output, std::size_t capacity) {
  BoundedOutput<char> result(output, capacity);
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char32_t unit = text[index];
    if (IsHighSurrogate(unit) && index + 1 < text.size() && IsLowSurrogate(text[index + 1])) {
      ++index;
      PutUtf8(0x10000 + ((unit - 0xD800) << 10) + (text[index] - 0xDC00u), result);
    } else {
      PutUtf8(IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit, result);
    }
  }
  return result.Length();
}

std::size_t DecodeUtf8(std::string_view text, char16_t* output, std::size_t capacity, bool* valid) {
  *valid = true;
  BoundedOutput<char16_t> result(output, capacity);
  while (!text.empty()) {
    const Decoded next = DecodeFirst(text);
    PutUtf16(next.point, result);
    *valid = *valid && next.valid;
    text.remove_prefix(next.length);
  }
  return result.Length();
}

}  // namespace platform::posix
