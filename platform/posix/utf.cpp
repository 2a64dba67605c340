#include "platform/posix/utf.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "platform/posix/utfblocks.h"

namespace platform::posix {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHigh(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
bool IsLow(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

// Whether a text that is shorter than a block, but not very short, is ASCII.
template <typename Char>
bool IsShortAscii(const Char* text, std::size_t size) {
  if (size >= kBlock || size < kQuarter) return false;
  return size >= kHalf ? IsAscii<kHalf>(text) && IsAscii<kHalf>(text + size - kHalf)
                       : IsAscii<kQuarter>(text) && IsAscii<kQuarter>(text + size - kQuarter);
}

template <typename From, typename To>
void CopyShortAscii(const From* text, std::size_t size, To* output) {
  if (size >= kHalf) {
    CopyAscii<kHalf>(text, output);
    CopyAscii<kHalf>(text + size - kHalf, output + size - kHalf);
  } else {
    CopyAscii<kQuarter>(text, output);
    CopyAscii<kQuarter>(text + size - kQuarter, output + size - kQuarter);
  }
}

struct Decoded {
  char32_t point;
  std::size_t length;
  bool valid;
};

Decoded DecodeUnits(const char16_t* text, std::size_t size) {
  const char16_t unit = text[0];
  if (IsHigh(unit) && size > 1 && IsLow(text[1])) {
    return {0x10000 + ((static_cast<char32_t>(unit) & 0x3FF) << 10) + (text[1] & 0x3FFu), 2, true};
  }
  if (IsHigh(unit) || IsLow(unit)) return {kReplacement, 1, false};
  return {unit, 1, true};
}

Decoded DecodeBytes(const char* text, std::size_t size) {
  const auto at = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {kReplacement, 1, false};

  const std::size_t need = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte's range keeps out long forms, surrogates and what lies beyond U+10FFFF.
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t point = lead & (0xFFu >> (need + 1));
  for (std::size_t index = 1; index < need; ++index) {
    if (index >= size) return {kReplacement, index, false};
    const unsigned char byte = at(index);
    const bool fits = index == 1 ? byte >= low && byte <= high : (byte & 0xC0) == 0x80;
    if (!fits) return {kReplacement, index, false};
    point = point << 6 | (byte & 0x3Fu);
  }
  return {point, need, true};
}

// Counts units.
class UnitCounter {
 public:
  bool HasRoom(std::size_t /*units*/) const { return true; }
  void Copy(const char* /*block*/) {}
  void CopyLast(const char* /*block*/, std::size_t rest) { m_length += rest; }
  void Advance(std::size_t units) { m_length += units; }
  void Put(std::uint32_t /*unit*/) { ++m_length; }
  void PutPair(std::uint32_t /*point*/) { m_length += 2; }
  std::size_t Length() const { return m_length; }

 private:
  std::size_t m_length = 0;
};

// Writes units; who calls has asked for the room.
class UnitWriter {
 public:
  UnitWriter(char16_t* output, std::size_t capacity)
      : m_output(output), m_at(output), m_end(output + capacity) {}

  bool HasRoom(std::size_t units) const { return static_cast<std::size_t>(m_end - m_at) >= units; }
  void Copy(const char* block) { CopyBlock(block, m_at); }
  // The block's last `rest` characters are new. The others are ASCII and stand before m_at already.
  void CopyLast(const char* block, std::size_t rest) {
    m_at += rest;
    CopyBlock(block, m_at - kBlock);
  }
  void Advance(std::size_t units) { m_at += units; }
  void Put(std::uint32_t unit) { *m_at++ = static_cast<char16_t>(unit); }
  void PutPair(std::uint32_t point) {
    *m_at++ = static_cast<char16_t>(0xD7C0 + (point >> 10));
    *m_at++ = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
  }
  std::size_t Length() const { return static_cast<std::size_t>(m_at - m_output); }

 private:
  char16_t* m_output;
  char16_t* m_at;
  char16_t* m_end;
};

// Four bytes, the first one lowest.
std::uint32_t LoadFour(const char* text) {
  std::uint32_t four;
  std::memcpy(&four, text, sizeof four);
  return std::endian::native == std::endian::little ? four : __builtin_bswap32(four);
}

// Takes one character that is wholly valid out of `four` and gives its length; 0 for any other.
// Inlined without fail: a sink whose address is taken lives in memory, at three times the cost.
template <typename Sink>
[[gnu::always_inline]] inline std::size_t TakeValid(std::uint32_t four, Sink& sink) {
  const std::uint32_t second = four >> 8 & 0x3F;
  if ((four & 0xC0E0) == 0x80C0) {
    const std::uint32_t point = (four & 0x1F) << 6 | second;
    if (point < 0x80) return 0;
    sink.Put(point);
    return 2;
  }
  const std::uint32_t third = four >> 16 & 0x3F;
  if ((four & 0xC0C0F0) == 0x8080E0) {
    const std::uint32_t point = (four & 0xF) << 12 | second << 6 | third;
    if (point < 0x800 || point - 0xD800 < 0x800) return 0;
    sink.Put(point);
    return 3;
  }
  if ((four & 0xC0C0C0F8) != 0x808080F0) return 0;
  const std::uint32_t point = (four & 7) << 18 | second << 12 | third << 6 | (four >> 24 & 0x3F);
  if (point - 0x10000 >= 0x100000) return 0;
  sink.PutPair(point);
  return 4;
}

template <typename Sink>
std::size_t ToUnits(const char* text, std::size_t size, Sink sink, bool* valid) {
  const char* const end = text + size;
  bool allValid = true;
  while (end - text >= static_cast<std::ptrdiff_t>(kBlock) && sink.HasRoom(kBlock)) {
    const unsigned nonAscii = NonAscii(text);
    sink.Copy(text);
    const std::size_t run =
        nonAscii == 0 ? kBlock : static_cast<std::size_t>(std::countr_zero(nonAscii));
    text += run;
    sink.Advance(run);
    if (nonAscii == 0) continue;
    // Character by character, until a run of ASCII begins or the text or the room comes near its
    // end.
    while (end - text >= 4 && sink.HasRoom(2)) {
      const std::uint32_t four = LoadFour(text);
      if ((four & 0x80) == 0) {
        if ((four & 0x80808080) == 0) break;
        sink.Put(four & 0x7F);
        ++text;
        continue;
      }
      std::size_t length = TakeValid(four, sink);
      if (length == 0) {
        sink.Put(kReplacement);
        length = DecodeBytes(text, static_cast<std::size_t>(end - text)).length;
        allValid = false;
      }
      text += length;
    }
  }
  const auto rest = static_cast<std::size_t>(end - text);
  if (size >= kBlock && sink.HasRoom(rest) && NonAscii(end - kBlock) == 0) {
    sink.CopyLast(end - kBlock, rest);
    text = end;
  }
  while (text != end) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < 0x80 && sink.HasRoom(1)) {
      sink.Put(byte);
      ++text;
      continue;
    }
    const Decoded next = DecodeBytes(text, static_cast<std::size_t>(end - text));
    if (!sink.HasRoom(next.point < 0x10000 ? 1 : 2)) return kDoesNotFit;
    if (next.point < 0x10000) {
      sink.Put(next.point);
    } else {
      sink.PutPair(next.point);
    }
    text += next.length;
    allValid = allValid && next.valid;
  }
  *valid = allValid;
  return sink.Length();
}

std::size_t BytesOf(char32_t point) {
  return 1 + static_cast<std::size_t>(point >= 0x80) + static_cast<std::size_t>(point >= 0x800) +
         static_cast<std::size_t>(point >= 0x10000);
}

void PutBytes(char32_t point, std::size_t length, char* output) {
  constexpr unsigned char kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (std::size_t index = length - 1; index > 0; --index) {
    output[index] = static_cast<char>(0x80 | (point & 0x3F));
    point >>= 6;
  }
  output[0] = static_cast<char>(kLeads[length] | point);
}

struct Place {
  const char16_t* text;
  char* output;
};

// Writes characters until a run of ASCII begins or the text or the room comes near its end.
Place PutStretch(Place at, const char16_t* end, const char* outputEnd) {
  const auto put = [&at](std::uint32_t byte) { *at.output++ = static_cast<char>(byte); };
  for (;;) {
    // A unit makes at most four bytes, so for so many of them neither end has to be looked at.
    std::ptrdiff_t count = std::min(end - at.text - 3, (outputEnd - at.output) / 4);
    if (count <= 0) return at;
    for (; count > 0; --count) {
      const std::uint32_t unit = *at.text;
      if (unit < 0x80) {
        if ((at.text[1] | at.text[2] | at.text[3]) < 0x80) return at;
        put(unit);
      } else if (unit < 0x800) {
        put(0xC0 | unit >> 6);
        put(0x80 | (unit & 0x3F));
      } else if ((unit & 0xF800) != 0xD800) {
        put(0xE0 | unit >> 12);
        put(0x80 | (unit >> 6 & 0x3F));
        put(0x80 | (unit & 0x3F));
      } else {
        const Decoded next = DecodeUnits(at.text, static_cast<std::size_t>(end - at.text));
        const std::size_t length = BytesOf(next.point);
        PutBytes(next.point, length, at.output);
        at.output += length;
        at.text += next.length;
        // Two units are gone, and the count no longer holds.
        break;
      }
      ++at.text;
    }
  }
}

}  // namespace

std::size_t Utf8Length(const char16_t* text, std::size_t size) {
  if (IsShortAscii(text, size)) return size;
  std::size_t length = 0;
  std::size_t index = 0;
  if (size > kCountStep) {
    index = (size - 1) / kCountStep * kCountStep;
    length = CountSteps(text, index);
    // The partner of the last pair, which has saved for both.
    if (IsLow(text[index]) && IsHigh(text[index - 1])) {
      length += 3;
      ++index;
    }
  }
  while (index < size) {
    const Decoded next = DecodeUnits(text + index, size - index);
    index += next.length;
    length += BytesOf(next.point);
  }
  return length;
}

std::size_t WriteUtf8(const char16_t* text, std::size_t size, char* output, std::size_t capacity) {
  constexpr auto kWhole = static_cast<std::ptrdiff_t>(kBlock);
  if (capacity >= size && IsShortAscii(text, size)) {
    CopyShortAscii(text, size, output);
    return size;
  }
  const char16_t* const end = text + size;
  const char* const outputEnd = output + capacity;
  Place at = {text, output};
  while (end - at.text >= kWhole && outputEnd - at.output >= kWhole) {
    const unsigned nonAscii = NonAscii(at.text);
    CopyBlock(at.text, at.output);
    const std::ptrdiff_t run = nonAscii == 0 ? kWhole : std::countr_zero(nonAscii);
    at = {at.text + run, at.output + run};
    if (nonAscii != 0) at = PutStretch(at, end, outputEnd);
  }
  const std::ptrdiff_t rest = end - at.text;
  if (size >= kBlock && outputEnd - at.output >= rest && NonAscii(end - kBlock) == 0) {
    // What the last block has besides the rest is ASCII and stands before the rest's place already.
    at.output += rest;
    CopyBlock(end - kBlock, at.output - kBlock);
    return static_cast<std::size_t>(at.output - output);
  }
  while (at.text != end) {
    if (*at.text < 0x80 && at.output != outputEnd) {
      *at.output++ = static_cast<char>(*at.text++);
      continue;
    }
    const Decoded next = DecodeUnits(at.text, static_cast<std::size_t>(end - at.text));
    const std::size_t length = BytesOf(next.point);
    if (outputEnd - at.output < static_cast<std::ptrdiff_t>(length)) return kDoesNotFit;
    PutBytes(next.point, length, at.output);
    at = {at.text + next.length, at.output + length};
  }
  return static_cast<std::size_t>(at.output - output);
}

std::size_t Utf16Length(const char* text, std::size_t size, bool* valid) {
  *valid = true;
  if (IsShortAscii(text, size)) return size;
  // A short text is counted before the blocks' way has begun to pay.
  constexpr std::size_t kShort = 128;
  const Counted counted = size < kShort ? Counted{0, 0} : CountWellFormed(text, size);
  return counted.units + ToUnits(text + counted.bytes, size - counted.bytes, UnitCounter(), valid);
}

std::size_t WriteUtf16(const char* text, std::size_t size, char16_t* output, std::size_t capacity,
                       bool* valid) {
  *valid = true;
  if (capacity >= size && IsShortAscii(text, size)) {
    CopyShortAscii(text, size, output);
    return size;
  }
  return ToUnits(text, size, UnitWriter(output, capacity), valid);
}

}  // namespace platform::posix
