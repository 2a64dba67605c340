// Text put together in a buffer of fixed size.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace logging {

// Takes text as long as there is room and cuts what would pass it. One place always stays free for
// a NUL, which the owner of the buffer puts there. Used by one thread at a time; nothing allocates.
class BoundedText {
 public:
  // `size` is at least 1.
  BoundedText(char* buffer, std::size_t size) : m_at(buffer), m_last(buffer + size - 1) {}

  char* At() const { return m_at; }
  // The characters that still fit.
  std::size_t Room() const { return static_cast<std::size_t>(m_last - m_at); }
  bool WasCut() const { return m_cut; }

  void Add(std::string_view text) {
    const std::size_t fitting = std::min(text.size(), Room());
    std::memcpy(m_at, text.data(), fitting);
    m_at += fitting;
    m_cut |= fitting != text.size();
  }

  void Add(char character) {
    m_cut |= m_at == m_last;
    if (m_at != m_last) *m_at++ = character;
  }

  // The first `kLength` characters. What is that short and of a length that the compiler knows is
  // stored without a call.
  template <std::size_t kLength>
  void AddFixed(const char* text) {
    if (Room() < kLength) return Add({text, kLength});
    std::memcpy(m_at, text, kLength);
    m_at += kLength;
  }

  // Up to the NUL. Doesn't read further than what fits and one character.
  void AddTerminated(const char* text) {
    const auto* const end = static_cast<const char*>(std::memchr(text, '\0', Room() + 1));
    Add({text, end == nullptr ? Room() + 1 : static_cast<std::size_t>(end - text)});
  }

  // In base 10 or 16, filled up on the left to `width` characters.
  template <unsigned kBase = 10>
  void AddUnsigned(std::uint32_t value, std::size_t width, char fill = '0',
                   const char* digits = "0123456789") {
    std::size_t length = 1;
    for (std::uint32_t rest = value / kBase; rest != 0; rest /= kBase) ++length;
    for (std::size_t filled = length; filled < width; ++filled) Add(fill);
    if (Room() < length) {
      // Cut from the right, digit by digit.
      char text[10];
      PutDigits<kBase>(text, length, value, digits);
      return Add({text, length});
    }
    PutDigits<kBase>(m_at, length, value, digits);
    m_at += length;
  }

  // A sign counts for the width and stands before zeros and behind blanks.
  void AddSigned(std::int32_t value, std::size_t width, char fill = '0') {
    const auto bits = static_cast<std::uint32_t>(value);
    if (value >= 0) return AddUnsigned(bits, width, fill);
    const std::uint32_t absolute = 0 - bits;
    std::size_t length = 2;
    for (std::uint32_t rest = absolute / 10; rest != 0; rest /= 10) ++length;
    if (fill == '0') Add('-');
    for (; length < width; ++length) Add(fill);
    if (fill != '0') Add('-');
    AddUnsigned(absolute, 0);
  }

 private:
  template <unsigned kBase>
  static void PutDigits(char* at, std::size_t length, std::uint32_t value, const char* digits) {
    do {
      at[--length] = digits[value % kBase];
      value /= kBase;
    } while (length != 0);
  }

  char* m_at;
  char* const m_last;
  bool m_cut = false;
};

}  // namespace logging
