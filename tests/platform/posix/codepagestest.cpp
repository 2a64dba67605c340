// Our converter compared with the C library's, on random text.
#include "platform/codepages.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <cerrno>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/seed.h"

namespace {

using platform::codepages;
using platform::kCodePageUtf8;
using platform::kFailOnInvalid;

class Converter {
 public:
  Converter(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {
    if (m_descriptor == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("no iconv");
  }
  ~Converter() { iconv_close(m_descriptor); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Converts `input` and returns how many of its bytes precede the first invalid one.
  std::size_t Convert(std::string input, std::string* output) {
    output->assign(input.size() * 4 + 16, '\0');
    char* from = input.data();
    char* to = output->data();
    std::size_t left = input.size();
    std::size_t room = output->size();
    iconv(m_descriptor, nullptr, nullptr, nullptr, nullptr);
    if (iconv(m_descriptor, &from, &left, &to, &room) == static_cast<std::size_t>(-1)) {
      EXPECT_NE(errno, E2BIG);
    }
    output->resize(output->size() - room);
    return input.size() - left;
  }

 private:
  iconv_t m_descriptor;
};

std::string BytesOf(const std::u16string& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)};
}

std::string ToUtf8(const std::u16string& units) {
  const int size = static_cast<int>(units.size());
  std::string result(static_cast<std::size_t>(codepages.WideCharToMultiByte(
                         kCodePageUtf8, 0, units.data(), size, nullptr, 0)),
                     '\0');
  const int capacity = static_cast<int>(result.size());
  EXPECT_EQ(
      codepages.WideCharToMultiByte(kCodePageUtf8, 0, units.data(), size, result.data(), capacity),
      capacity);
  return result;
}

std::u16string ToUtf16(const std::string& bytes, std::uint32_t flags) {
  const int size = static_cast<int>(bytes.size());
  std::u16string result(static_cast<std::size_t>(codepages.MultiByteToWideChar(
                            kCodePageUtf8, flags, bytes.data(), size, nullptr, 0)),
                        u'\0');
  const int capacity = static_cast<int>(result.size());
  EXPECT_EQ(codepages.MultiByteToWideChar(kCodePageUtf8, flags, bytes.data(), size, result.data(),
                                          capacity),
            capacity);
  return result;
}

// Text in runs of one script.
class RandomText {
 public:
  explicit RandomText(unsigned seed) : m_engine(seed) {}

  unsigned Number(unsigned low, unsigned high) {
    return std::uniform_int_distribution<unsigned>(low, high)(m_engine);
  }

  char32_t Character(unsigned script) {
    switch (script) {
      case 0:
        return Number(0, 0x7F);
      case 1:
        return Number(0x80, 0x7FF);
      case 2:
        return Number(0x800, 0xD7FF);
      case 3:
        return Number(0xE000, 0xFFFF);
      default:
        return Number(0x10000, 0x10FFFF);
    }
  }

  std::u16string Text() {
    std::u16string text;
    for (unsigned stretches = Number(0, 6); stretches > 0; --stretches) {
      const unsigned script = Number(0, 5);
      for (unsigned count = Number(1, Number(0, 3) == 0 ? 200 : 10); count > 0; --count) {
        const char32_t point = Character(script == 5 ? Number(0, 4) : script);
        if (point >= 0x10000) {
          text.push_back(static_cast<char16_t>(0xD7C0 + (point >> 10)));
          text.push_back(static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
        } else {
          text.push_back(static_cast<char16_t>(point));
        }
      }
    }
    return text;
  }

 private:
  std::mt19937 m_engine;
};

constexpr int kRounds = 20000;

TEST(CodePagesAgainstTheCLibrary, ValidTextConvertsTheSameBothWays) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  RandomText random(seed);
  Converter toUtf8("UTF-8", "UTF-16LE");
  for (int round = 0; round < kRounds; ++round) {
    const std::u16string units = random.Text();
    std::string expected;
    ASSERT_EQ(toUtf8.Convert(BytesOf(units), &expected), units.size() * 2);
    ASSERT_EQ(ToUtf8(units), expected) << "round " << round;
    ASSERT_EQ(ToUtf16(expected, kFailOnInvalid), units) << "round " << round;
  }
}

// The expected replacement, from the C library: it says where the invalid sequence is, and that is
// either the longest prefix of a valid one or a single byte.
std::u16string ReplacedByTheCLibrary(Converter& toUtf16, const std::string& bytes) {
  std::u16string result;
  std::size_t at = 0;
  while (at < bytes.size()) {
    std::string converted;
    at += toUtf16.Convert(bytes.substr(at), &converted);
    result.append(reinterpret_cast<const char16_t*>(converted.data()), converted.size() / 2);
    if (at == bytes.size()) break;
    result.push_back(u'\xFFFD');
    // Bytes are such a prefix if some continuation makes them valid.
    std::size_t length = 1;
    for (std::size_t tried = 2; tried <= 3 && at + tried <= bytes.size(); ++tried) {
      bool completes = false;
      for (const char* const rest : {"\x80", "\xBF", "\x80\x80", "\xBF\xBF"}) {
        const std::string candidate = bytes.substr(at, tried) + rest;
        std::string ignored;
        completes = completes || (toUtf16.Convert(candidate, &ignored) == candidate.size() &&
                                  ignored.size() / 2 == (candidate.size() == 4 ? 2u : 1u));
      }
      if (completes) length = tried;
    }
    at += length;
  }
  return result;
}

TEST(CodePagesAgainstTheCLibrary, MutatedBytesFailOrAreReplacedTheSame) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  RandomText random(seed);
  Converter toUtf16("UTF-16LE", "UTF-8");
  int invalid = 0;
  for (int round = 0; round < kRounds; ++round) {
    std::string bytes = ToUtf8(random.Text());
    for (unsigned changes = random.Number(0, 3); changes > 0 && !bytes.empty(); --changes) {
      const unsigned place = random.Number(0, static_cast<unsigned>(bytes.size()) - 1);
      switch (random.Number(0, 2)) {
        case 0:
          bytes[place] = static_cast<char>(random.Number(0, 255));
          break;
        case 1:
          bytes.erase(place, random.Number(1, 3));
          break;
        default:
          bytes.insert(place, 1, static_cast<char>(random.Number(128, 255)));
          break;
      }
    }
    std::string converted;
    const bool valid = toUtf16.Convert(bytes, &converted) == bytes.size();
    const std::u16string expected = ReplacedByTheCLibrary(toUtf16, bytes);
    ASSERT_EQ(ToUtf16(bytes, 0), expected) << "round " << round;
    ASSERT_EQ(ToUtf16(bytes, kFailOnInvalid), valid ? expected : std::u16string())
        << "round " << round;
    invalid += valid ? 0 : 1;
  }
  // Otherwise most mutations changed nothing.
  EXPECT_GT(invalid, kRounds / 4);
}

TEST(CodePagesAgainstTheCLibrary, EveryStartOfASequenceIsJudgedTheSame) {
  Converter toUtf16("UTF-16LE", "UTF-8");
  int valid = 0;
  for (int lead = 0x80; lead <= 0xFF; ++lead) {
    for (const int second : {0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF}) {
      for (const std::string rest : {"", "\x80", "\xBF\x80", "\x80\x80\x80"}) {
        std::string bytes = {'a', static_cast<char>(lead), static_cast<char>(second)};
        bytes += rest;
        bytes += "b";
        std::string converted;
        const bool isValid = toUtf16.Convert(bytes, &converted) == bytes.size();
        const std::u16string expected = ReplacedByTheCLibrary(toUtf16, bytes);
        ASSERT_EQ(ToUtf16(bytes, 0), expected) << lead << " " << second;
        ASSERT_EQ(ToUtf16(bytes, kFailOnInvalid), isValid ? expected : std::u16string())
            << lead << " " << second;
        valid += isValid ? 1 : 0;
      }
    }
  }
  // Otherwise the test covers only failures.
  EXPECT_GT(valid, 100);
}

TEST(CodePagesAgainstTheCLibrary, StraySurrogatesAreReplacedOneByOne) {
  const unsigned seed = tests::Seed();
  SCOPED_TRACE(tests::HowToRepeat(seed));
  RandomText random(seed);
  Converter toUtf8("UTF-8", "UTF-16LE");
  for (int round = 0; round < kRounds; ++round) {
    std::u16string units = random.Text();
    for (unsigned changes = random.Number(0, 4); changes > 0 && !units.empty(); --changes) {
      units[random.Number(0, static_cast<unsigned>(units.size()) - 1)] =
          static_cast<char16_t>(random.Number(0xD800, 0xDFFF));
    }
    std::string expected;
    for (std::size_t at = 0; at < units.size();) {
      std::string converted;
      at += toUtf8.Convert(BytesOf(units.substr(at)), &converted) / 2;
      expected += converted;
      if (at == units.size()) break;
      expected += "\xEF\xBF\xBD";
      ++at;
    }
    ASSERT_EQ(ToUtf8(units), expected) << "round " << round;
  }
}

}  // namespace
