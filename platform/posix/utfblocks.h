// Blocks of 16 characters, for the ASCII runs that most text is made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace platform::posix {

inline constexpr std::size_t kBlock = 16;
// What a short text is made of: two of them, which may overlap.
inline constexpr std::size_t kHalf = 8;
inline constexpr std::size_t kQuarter = 4;

// What a part of a text has.
struct Counted {
  std::size_t bytes;
  std::size_t units;
};

// The UTF-8 length of units is counted in steps of this many.
inline constexpr std::size_t kCountStep = 8;

template <std::size_t Count>
bool IsAscii(const char* text) {
  static_assert(Count == kHalf || Count == kQuarter);
  std::uint64_t all = 0;
  std::memcpy(&all, text, Count);
  return (all & 0x8080808080808080) == 0;
}

template <std::size_t Count>
bool IsAscii(const char16_t* text) {
  std::uint64_t parts[Count / 4];
  std::memcpy(parts, text, sizeof parts);
  for (std::size_t index = 1; index < Count / 4; ++index) parts[0] |= parts[index];
  return (parts[0] & 0xFF80FF80FF80FF80) == 0;
}

// Copies ASCII characters.
template <std::size_t Count, typename From, typename To>
void CopyAscii(const From* text, To* output) {
  for (std::size_t index = 0; index < Count; ++index) output[index] = static_cast<To>(text[index]);
}

#if defined(__SSE2__)

inline __m128i Load(const void* at) {
  return _mm_loadu_si128(static_cast<const __m128i*>(at));
}

inline void Store(void* at, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(at), value);
}

// A bit for each of 16 bytes that isn't ASCII, the first byte's lowest.
inline unsigned NonAscii(const char* text) {
  return static_cast<unsigned>(_mm_movemask_epi8(Load(text)));
}

inline unsigned NonAscii(const char16_t* text) {
  const __m128i beyond = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  const __m128i first = _mm_cmpeq_epi16(_mm_and_si128(Load(text), beyond), zero);
  const __m128i second = _mm_cmpeq_epi16(_mm_and_si128(Load(text + 8), beyond), zero);
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(first, second))) ^ 0xFFFF;
}

// Copies 16 characters; what becomes of those that aren't ASCII is left open.
inline void CopyBlock(const char* text, char16_t* output) {
  const __m128i block = Load(text);
  Store(output, _mm_unpacklo_epi8(block, _mm_setzero_si128()));
  Store(output + 8, _mm_unpackhi_epi8(block, _mm_setzero_si128()));
}

inline void CopyBlock(const char16_t* text, char* output) {
  Store(output, _mm_packus_epi16(Load(text), Load(text + 8)));
}

// How many pairs of surrogates begin in `size` units, added up over the lanes.
inline __m128i CountPairs(const char16_t* text, std::size_t size) {
  const __m128i kinds = _mm_set1_epi16(static_cast<short>(0xFC00));
  __m128i pairs = _mm_setzero_si128();
  for (std::size_t index = 0; index < size; index += kCountStep) {
    const __m128i high = _mm_cmpeq_epi16(_mm_and_si128(Load(text + index), kinds),
                                         _mm_set1_epi16(static_cast<short>(0xD800)));
    const __m128i low = _mm_cmpeq_epi16(_mm_and_si128(Load(text + index + 1), kinds),
                                        _mm_set1_epi16(static_cast<short>(0xDC00)));
    pairs = _mm_sub_epi16(pairs, _mm_and_si128(high, low));
  }
  return pairs;
}

// The UTF-8 length of `size` units, a multiple of kCountStep and less than 2^31, with one more unit
// behind them: three bytes each, less what shorter ones save. A pair saves its two bytes where it
// begins.
inline std::size_t CountSteps(const char16_t* text, std::size_t size) {
  // Surrogates are rare, and looked for closely only in a chunk that has some.
  constexpr std::size_t kChunk = 8 * kCountStep;
  const __m128i zero = _mm_setzero_si128();
  const __m128i beyondOne = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i beyondTwo = _mm_set1_epi16(static_cast<short>(0xF800));
  const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
  __m128i total = zero;
  for (std::size_t begin = 0; begin < size; begin += kChunk) {
    const std::size_t chunk = size - begin < kChunk ? size - begin : kChunk;
    __m128i saved = zero;
    __m128i surrogates = zero;
    for (std::size_t index = begin; index < begin + chunk; index += kCountStep) {
      const __m128i units = Load(text + index);
      const __m128i kinds = _mm_and_si128(units, beyondTwo);
      // A mask is -1 where it holds.
      const __m128i one = _mm_cmpeq_epi16(_mm_and_si128(units, beyondOne), zero);
      const __m128i two = _mm_cmpeq_epi16(kinds, zero);
      saved = _mm_sub_epi16(saved, _mm_add_epi16(one, two));
      surrogates = _mm_or_si128(surrogates, _mm_cmpeq_epi16(kinds, surrogate));
    }
    if (_mm_movemask_epi8(surrogates) != 0) {
      const __m128i pairs = CountPairs(text + begin, chunk);
      saved = _mm_add_epi16(saved, _mm_add_epi16(pairs, pairs));
    }
    total = _mm_add_epi32(total, _mm_madd_epi16(saved, _mm_set1_epi16(1)));
  }
  alignas(16) std::uint32_t lanes[4];
  Store(lanes, total);
  return 3 * size - lanes[0] - lanes[1] - lanes[2] - lanes[3];
}

// A bit for each byte of `block` that can't stand where it does in UTF-8. In `first`, `second` and
// `third` each byte has the one that stands one, two and three places before it in the text.
inline int Misplaced(__m128i block, __m128i first, __m128i second, __m128i third) {
  // Comparisons are signed: 0x80 to 0xFF come before 0x00 to 0x7F.
  const auto byte = [](int value) { return _mm_set1_epi8(static_cast<char>(value)); };
  const auto from = [&byte](__m128i bytes, int least) {  // non-ASCII, and at least that
    return _mm_and_si128(_mm_cmpgt_epi8(bytes, byte(least - 1)),
                         _mm_cmplt_epi8(bytes, _mm_setzero_si128()));
  };
  // A byte continues a character exactly where a lead before it says so.
  const __m128i wanted =
      _mm_or_si128(from(first, 0xC0), _mm_or_si128(from(second, 0xE0), from(third, 0xF0)));
  __m128i wrong = _mm_xor_si128(wanted, _mm_cmplt_epi8(block, byte(0xC0)));
  // Long forms of two bytes, and leads beyond the last.
  wrong = _mm_or_si128(
      wrong, _mm_or_si128(_mm_cmpeq_epi8(block, byte(0xC0)), _mm_cmpeq_epi8(block, byte(0xC1))));
  wrong = _mm_or_si128(wrong, from(block, 0xF5));
  // The second byte's range keeps out long forms, surrogates and what lies beyond U+10FFFF.
  const __m128i below90 = _mm_cmplt_epi8(block, byte(0x90));
  const __m128i belowA0 = _mm_cmplt_epi8(block, byte(0xA0));
  const auto behind = [&](int lead) { return _mm_cmpeq_epi8(first, byte(lead)); };
  wrong = _mm_or_si128(wrong, _mm_or_si128(_mm_and_si128(behind(0xE0), belowA0),
                                           _mm_andnot_si128(belowA0, behind(0xED))));
  wrong = _mm_or_si128(wrong, _mm_or_si128(_mm_and_si128(behind(0xF0), below90),
                                           _mm_andnot_si128(below90, behind(0xF4))));
  return _mm_movemask_epi8(wrong);
}

// The units that the characters make which begin in a block: one each, two where four bytes begin.
inline __m128i CountUnits(__m128i block) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i begins = _mm_cmpgt_epi8(block, _mm_set1_epi8(static_cast<char>(0xBF)));
  const __m128i isFour = _mm_and_si128(
      _mm_cmpgt_epi8(block, _mm_set1_epi8(static_cast<char>(0xEF))), _mm_cmplt_epi8(block, zero));
  // A mask is -1 where it holds.
  return _mm_sad_epu8(_mm_sub_epi8(zero, _mm_add_epi8(begins, isFour)), zero);
}

// The UTF-16 length of the text's beginning: of all whole characters up to the first block that
// isn't well-formed UTF-8 or isn't whole.
inline Counted CountWellFormed(const char* text, std::size_t size) {
  __m128i units = _mm_setzero_si128();
  std::size_t ascii = 0;
  bool isBehindAscii = true;
  std::size_t done = 0;
  for (; size - done >= kBlock; done += kBlock) {
    const __m128i block = Load(text + done);
    const bool isAscii = _mm_movemask_epi8(block) == 0;
    if (isAscii && isBehindAscii) {
      ascii += kBlock;
      continue;
    }
    const int misplaced = done == 0 ? Misplaced(block, _mm_slli_si128(block, 1),
                                                _mm_slli_si128(block, 2), _mm_slli_si128(block, 3))
                                    : Misplaced(block, Load(text + done - 1), Load(text + done - 2),
                                                Load(text + done - 3));
    if (misplaced != 0) break;
    isBehindAscii = isAscii;
    units = _mm_add_epi64(units, CountUnits(block));
  }
  alignas(16) std::uint64_t lanes[2];
  Store(lanes, units);
  Counted counted = {done, ascii + static_cast<std::size_t>(lanes[0] + lanes[1])};
  // A character that isn't whole yet is left out.
  for (std::size_t back = 1; back <= 3 && back <= done; ++back) {
    const auto byte = static_cast<unsigned char>(text[done - back]);
    if (byte < 0xC0) continue;
    const std::size_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    if (length > back) counted = {done - back, counted.units - (length == 4 ? 2 : 1)};
    break;
  }
  return counted;
}

#else

inline Counted CountWellFormed(const char* /*text*/, std::size_t /*size*/) {
  return {0, 0};
}

inline unsigned NonAscii(const char* text) {
  unsigned mask = 0;
  for (std::size_t index = 0; index < kBlock; ++index) {
    mask |= static_cast<unsigned>(static_cast<unsigned char>(text[index]) >> 7) << index;
  }
  return mask;
}

inline unsigned NonAscii(const char16_t* text) {
  unsigned mask = 0;
  for (std::size_t index = 0; index < kBlock; ++index) {
    mask |= static_cast<unsigned>(text[index] >= 0x80) << index;
  }
  return mask;
}

inline void CopyBlock(const char* text, char16_t* output) {
  for (std::size_t index = 0; index < kBlock; ++index) {
    output[index] = static_cast<unsigned char>(text[index]);
  }
}

inline void CopyBlock(const char16_t* text, char* output) {
  for (std::size_t index = 0; index < kBlock; ++index) {
    output[index] = static_cast<char>(text[index]);
  }
}

inline std::size_t CountSteps(const char16_t* text, std::size_t size) {
  std::size_t length = 3 * size;
  for (std::size_t index = 0; index < size; ++index) {
    const unsigned unit = text[index];
    const bool pair = (unit & 0xFC00) == 0xD800 && (text[index + 1] & 0xFC00) == 0xDC00;
    length -= static_cast<unsigned>(unit < 0x80) + static_cast<unsigned>(unit < 0x800) +
              2 * static_cast<unsigned>(pair);
  }
  return length;
}

#endif

}  // namespace platform::posix
