#include <algorithm>
#include <array>
#include <cstdint>

#include "simulation/mail/rtf.h"

namespace simulation::mail {

namespace {

// Every text refers back to these words, as if they preceded it.
constexpr std::string_view kDictionaryStart =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern "
    "\\fscript "
    "\\fdecor MS Sans SerifSymbolArialTimes New "
    "RomanCourier{\\colortbl\\red0\\green0\\blue0\r\n\\par "
    "\\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
static_assert(kDictionaryStart.size() == 207);

constexpr std::size_t kHeader = 16;
constexpr std::uint32_t kCompressed = 0x75465A4C;    // "LZFu"
constexpr std::uint32_t kUncompressed = 0x414C454D;  // "MELA"

std::uint32_t NumberAt(std::string_view bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) {
    number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  }
  return number;
}

// The last 4096 bytes of the text, in a ring.
class Dictionary {
 public:
  Dictionary() {
    for (const char c : kDictionaryStart) Add(c);
  }
  void Add(char c) {
    m_bytes[m_next] = c;
    m_next = (m_next + 1) % m_bytes.size();
  }
  char At(std::size_t place) const { return m_bytes[place % m_bytes.size()]; }
  std::size_t Next() const { return m_next; }

 private:
  std::array<char, 4096> m_bytes{};
  std::size_t m_next = 0;
};

// Each control byte says for the next eight items, lowest bit first, whether the item is a byte or
// a reference of two bytes: 12 bits place and 4 bits length. A reference to the place that is
// written next ends the text.
std::string Expand(std::string_view items) {
  Dictionary dictionary;
  std::string text;
  std::size_t at = 0;
  const auto next = [&] { return static_cast<unsigned char>(items[at++]); };
  while (at < items.size()) {
    const unsigned control = next();
    for (unsigned bit = 0; bit < 8 && at < items.size(); ++bit) {
      if ((control >> bit & 1U) == 0) {
        text += static_cast<char>(next());
        dictionary.Add(text.back());
        continue;
      }
      if (items.size() - at < 2) return text;
      const unsigned high = next();
      const unsigned reference = high << 8 | next();
      const std::size_t place = reference >> 4;
      if (place == dictionary.Next()) return text;
      const std::size_t length = (reference & 0xF) + 2;
      for (std::size_t i = 0; i < length; ++i) {
        text += dictionary.At(place + i);
        dictionary.Add(text.back());
      }
    }
  }
  return text;
}

}  // namespace

std::optional<std::string> DecompressRtf(std::string_view compressed) {
  if (compressed.size() < kHeader) return std::nullopt;
  // The size that the header gives counts everything after its own four bytes.
  const std::size_t size = NumberAt(compressed, 0) + std::size_t{4};
  const std::uint32_t rawSize = NumberAt(compressed, 4);
  const std::uint32_t kind = NumberAt(compressed, 8);
  const std::string_view items = compressed.substr(0, std::max(size, kHeader)).substr(kHeader);
  std::string text;
  if (kind == kCompressed) {
    text = Expand(items);
  } else if (kind == kUncompressed) {
    text = items;
  } else {
    return std::nullopt;
  }
  if (text.size() > rawSize) text.resize(rawSize);
  return text;
}

}  // namespace simulation::mail
