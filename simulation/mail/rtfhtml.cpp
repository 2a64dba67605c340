#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "simulation/mail/codepage.h"
#include "simulation/mail/rtf.h"

namespace simulation::mail {

namespace {

// What a "\word" or "\word123" in rich text is; a symbol ("\~") has a word of one character.
struct Control {
  std::string_view word;
  std::optional<std::int32_t> number;
};

// Destinations without text of the document.
constexpr std::array<std::string_view, 8> kSkippedWords = {
    "colortbl", "stylesheet", "info", "pict", "pntext", "header", "footer", "footnote"};

struct Character {
  std::string_view word;
  std::string_view html;
};
constexpr std::array<Character, 15> kCharacters = {{{"par", "\r\n"},
                                                    {"line", "\r\n"},
                                                    {"tab", "\t"},
                                                    {"lquote", "&lsquo;"},
                                                    {"rquote", "&rsquo;"},
                                                    {"ldblquote", "&ldquo;"},
                                                    {"rdblquote", "&rdquo;"},
                                                    {"bullet", "&bull;"},
                                                    {"endash", "&ndash;"},
                                                    {"emdash", "&mdash;"},
                                                    {"~", "&nbsp;"},
                                                    {"_", "&shy;"},
                                                    {"\\", "\\"},
                                                    {"{", "{"},
                                                    {"}", "}"}}};

// The code page of a font's character set; 0 for the document's own.
std::uint32_t CodePageOfCharset(std::int32_t charset) {
  static constexpr std::array<std::pair<std::int32_t, std::uint32_t>, 17> kCodePages = {
      {{0, 1252},
       {77, 10000},
       {128, 932},
       {129, 949},
       {130, 1361},
       {134, 936},
       {136, 950},
       {161, 1253},
       {162, 1254},
       {163, 1258},
       {177, 1255},
       {178, 1256},
       {186, 1257},
       {204, 1251},
       {222, 874},
       {238, 1250},
       {255, 437}}};
  for (const auto& [known, codePage] : kCodePages) {
    if (known == charset) return codePage;
  }
  return 0;
}

std::string Utf8Of(std::uint32_t character) {
  std::string text;
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += static_cast<char>(0xC0 | character >> 6);
    text += static_cast<char>(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    text += static_cast<char>(0xE0 | character >> 12);
    text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
    text += static_cast<char>(0x80 | (character & 0x3F));
  } else {
    text += static_cast<char>(0xF0 | character >> 18);
    text += static_cast<char>(0x80 | (character >> 12 & 0x3F));
    text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
    text += static_cast<char>(0x80 | (character & 0x3F));
  }
  return text;
}

class HtmlExtractor {
 public:
  explicit HtmlExtractor(std::string_view rtf) : m_rtf(rtf) {}

  std::optional<std::string> Extract() {
    while (m_at < m_rtf.size()) Step();
    Flush();
    if (!m_fromHtml) return std::nullopt;
    return std::move(m_html);
  }

 private:
  enum class Destination { kText, kTag, kFonts, kSkipped };
  // A group's properties; a group inside it begins with the same ones.
  struct Group {
    Destination destination = Destination::kText;
    bool isRtfOnly = false;         // between \htmlrtf and \htmlrtf0
    bool mayBeSkipped = false;      // begins with \*: skip it unless its first word is known
    std::int32_t afterUnicode = 1;  // characters that replace a \u for readers without Unicode
    std::int32_t font = -1;
  };

  void Step() {
    const char c = m_rtf[m_at];
    if (c == '{') {
      Flush();
      m_groups.push_back(m_group);
      m_group.mayBeSkipped = false;
      ++m_at;
    } else if (c == '}') {
      Flush();
      if (!m_groups.empty()) {
        m_group = m_groups.back();
        m_groups.pop_back();
      }
      ++m_at;
    } else if (c == '\\') {
      Obey(NextControl());
    } else {
      if (c != '\r' && c != '\n' && c != '\0') AddByte(c);
      ++m_at;
    }
  }

  Control NextControl() {
    ++m_at;
    const std::size_t begin = m_at;
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    while (m_at < m_rtf.size() && isLetter(m_rtf[m_at])) ++m_at;
    if (m_at == begin) {
      if (m_at < m_rtf.size()) ++m_at;
      return {m_rtf.substr(begin, m_at - begin), std::nullopt};
    }
    Control control{m_rtf.substr(begin, m_at - begin), std::nullopt};
    std::int32_t number = 0;
    const char* const from = m_rtf.data() + m_at;
    const auto parsed = std::from_chars(from, m_rtf.data() + m_rtf.size(), number);
    if (parsed.ptr != from) {
      control.number = parsed.ec == std::errc() ? number : 0;
      m_at += static_cast<std::size_t>(parsed.ptr - from);
    }
    if (m_at < m_rtf.size() && m_rtf[m_at] == ' ') ++m_at;
    return control;
  }

  void Obey(const Control& control) {
    if (control.word == "'") {
      AddHexByte();
      return;
    }
    if (control.word == "u") {
      AddUnicode(static_cast<std::uint32_t>(control.number.value_or(0)) & 0xFFFF);
      return;
    }
    for (const Character& character : kCharacters) {
      if (character.word == control.word) {
        AddText(character.html);
        return;
      }
    }
    Flush();
    if (control.word == "*") {
      m_group.mayBeSkipped = true;
      return;
    }
    ObeyDestination(control);
    ObeyProperty(control);
    m_group.mayBeSkipped = false;
  }

  void ObeyDestination(const Control& control) {
    if (m_group.destination == Destination::kSkipped) return;
    const bool isKnown =
        std::find(kSkippedWords.begin(), kSkippedWords.end(), control.word) != kSkippedWords.end();
    if (control.word == "htmltag") {
      m_group.destination = Destination::kTag;
    } else if (control.word == "fonttbl") {
      m_group.destination = Destination::kFonts;
    } else if (isKnown || m_group.mayBeSkipped) {
      m_group.destination = Destination::kSkipped;
    }
  }

  void ObeyProperty(const Control& control) {
    const std::string_view word = control.word;
    const std::int32_t number = control.number.value_or(0);
    if (word == "fromhtml") {
      m_fromHtml = number == 1;
    } else if (word == "htmlrtf") {
      m_group.isRtfOnly = control.number.value_or(1) != 0;
    } else if (word == "ansicpg") {
      m_codePage = static_cast<std::uint32_t>(number);
    } else if (word == "uc") {
      m_group.afterUnicode = number;
    } else if (word == "f") {
      m_group.font = number;
    } else if (word == "fcharset" && m_group.destination == Destination::kFonts) {
      m_fonts[m_group.font] = CodePageOfCharset(number);
    } else if (word == "bin" && number > 0) {
      m_at += std::min(m_rtf.size() - m_at, static_cast<std::size_t>(number));
    }
  }

  bool IsShown() const {
    return !m_group.isRtfOnly &&
           (m_group.destination == Destination::kText || m_group.destination == Destination::kTag);
  }

  void AddText(std::string_view html) {
    Flush();
    if (IsShown()) m_html += html;
  }

  void AddByte(char byte) {
    if (m_toSkip > 0) {
      --m_toSkip;
      return;
    }
    m_highSurrogate = 0;
    if (IsShown()) m_bytes += byte;
  }

  void AddHexByte() {
    unsigned value = 0;
    const char* const from = m_rtf.data() + m_at;
    const std::size_t digits = std::min<std::size_t>(2, m_rtf.size() - m_at);
    const auto parsed = std::from_chars(from, from + digits, value, 16);
    m_at += static_cast<std::size_t>(parsed.ptr - from);
    if (parsed.ptr != from) AddByte(static_cast<char>(value));
  }

  // A character beyond U+FFFF comes as two surrogates.
  void AddUnicode(std::uint32_t unit) {
    const std::uint32_t high = std::exchange(m_highSurrogate, 0);
    FlushBytes();
    m_toSkip = m_group.afterUnicode;
    if (unit >= 0xD800 && unit < 0xDC00) {
      m_highSurrogate = unit;
      return;
    }
    if (unit >= 0xDC00 && unit < 0xE000) {
      unit = high != 0 ? 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00) : 0xFFFD;
    }
    if (IsShown()) m_html += Utf8Of(unit);
  }

  // Bytes are collected first, since a character may have several.
  void FlushBytes() {
    if (m_bytes.empty()) return;
    std::uint32_t codePage = m_codePage;
    const auto font = m_fonts.find(m_group.font);
    if (m_group.destination == Destination::kText && font != m_fonts.end() && font->second != 0) {
      codePage = font->second;
    }
    m_html += CodePageToUtf8(codePage, m_bytes);
    m_bytes.clear();
  }

  void Flush() {
    FlushBytes();
    m_toSkip = 0;
    m_highSurrogate = 0;
  }

  std::string_view m_rtf;
  std::size_t m_at = 0;
  std::vector<Group> m_groups;
  Group m_group;
  bool m_fromHtml = false;
  std::uint32_t m_codePage = kDefaultCodePage;
  std::map<std::int32_t, std::uint32_t> m_fonts;  // number and code page
  std::string m_bytes;
  std::int32_t m_toSkip = 0;
  std::uint32_t m_highSurrogate = 0;
  std::string m_html;
};

}  // namespace

std::optional<std::string> HtmlInRtf(std::string_view rtf) {
  return HtmlExtractor(rtf).Extract();
}

}  // namespace simulation::mail
