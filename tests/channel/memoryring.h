// A ring in plain memory, followed by bytes that no writer may touch.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "channel/protocol.h"

namespace tests {

class MemoryRing {
 public:
  static constexpr unsigned char kUntouched = 0xEE;
  static constexpr std::uint32_t kConsumerWord = 0xC0FFEE11;
  static constexpr std::size_t kBehind = 4096;  // bytes after the spare word

  // A ring whose data area has `area` bytes, all kUntouched, and a header that says so.
  explicit MemoryRing(std::uint32_t area)
      : m_area(area), m_words((sizeof(RingHeader) + area + 4 + kBehind) / 4) {
    std::memset(m_words.data(), kUntouched, m_words.size() * 4);
    *Header() = RingHeader{0, 0, kConsumerWord, static_cast<std::int32_t>(area)};
  }

  RingHeader* Header() { return reinterpret_cast<RingHeader*>(m_words.data()); }
  unsigned char* Data() { return reinterpret_cast<unsigned char*>(Header() + 1); }
  // The size of the view: header, data area and spare word.
  std::uint32_t ViewSize() const {
    return static_cast<std::uint32_t>(sizeof(RingHeader)) + m_area + 4;
  }

  // The bytes of the data area, and all bytes after it.
  std::vector<unsigned char> Area() { return {Data(), Data() + m_area}; }
  std::vector<unsigned char> Behind() { return {Data() + m_area, Data() + m_area + 4 + kBehind}; }
  std::vector<unsigned char> Everything() {
    const auto* const begin = reinterpret_cast<const unsigned char*>(m_words.data());
    return {begin, begin + m_words.size() * 4};
  }

  // What no push may change.
  bool IsIntactOutside() {
    return Header()->consumerWord == kConsumerWord &&
           Behind() == std::vector<unsigned char>(4 + kBehind, kUntouched);
  }

 private:
  std::uint32_t m_area;
  std::vector<std::uint32_t> m_words;
};

// Returns `size` bytes 1, 2, 3 ... 250, 1 ...: no zero, and no two equal neighbours.
inline std::vector<unsigned char> CountingBytes(std::size_t size) {
  std::vector<unsigned char> bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>(i % 250 + 1);
  }
  return bytes;
}

}  // namespace tests
