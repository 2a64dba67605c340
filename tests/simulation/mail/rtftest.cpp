#include "simulation/mail/rtf.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace simulation::mail {
namespace {

using namespace std::string_view_literals;

// The example of the format's public description.
constexpr std::string_view kCompressedRtf =
    "\x2D\0\0\0\x2B\0\0\0LZFu\xF1\xC5\xC7\xA7\x03\0\x0A\0rcpg125B2\x0A\xF3 hel\x09\0 bw\x05\xB0ld}"
    "\x0A\x80\x0F\xA0"sv;
constexpr std::string_view kPlainRtf = "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n";

TEST(CompressedRtf, IsDecompressed) {
  EXPECT_EQ(DecompressRtf(kCompressedRtf), kPlainRtf);
}

TEST(CompressedRtf, MayBeStoredUncompressed) {
  EXPECT_EQ(DecompressRtf("\x10\0\0\0\x04\0\0\0MELA\0\0\0\0{\\r}rest"sv), "{\\r}");
}

// A run of one character: the reference reaches into what it writes itself.
TEST(CompressedRtf, AReferenceMayOverlapItsOwnText) {
  EXPECT_EQ(DecompressRtf("\x12\0\0\0\x0A\0\0\0LZFu\0\0\0\0\x06x\x0C\xF7\x0D\x90"sv), "xxxxxxxxxx");
}

TEST(CompressedRtf, ATruncatedValueGivesItsBeginning) {
  EXPECT_EQ(DecompressRtf(kCompressedRtf.substr(0, 27)), "{\\rtf1\\ansi\\ansicpg125");
  EXPECT_EQ(DecompressRtf(kCompressedRtf.substr(0, 16)), "");
}

TEST(CompressedRtf, RefusesOtherHeaders) {
  EXPECT_EQ(DecompressRtf(""), std::nullopt);
  EXPECT_EQ(DecompressRtf(kCompressedRtf.substr(0, 15)), std::nullopt);
  EXPECT_EQ(DecompressRtf("\x10\0\0\0\x04\0\0\0ZZZZ\0\0\0\0text"sv), std::nullopt);
}

std::optional<std::string> HtmlOf(const std::string& rest) {
  return HtmlInRtf("{\\rtf1\\ansi\\ansicpg1252\\fromhtml1 \\deff0" + rest + "}");
}

TEST(HtmlInRtf, OnlyIfTheTextWasMadeFromHtml) {
  EXPECT_EQ(HtmlInRtf("{\\rtf1\\ansi text}"), std::nullopt);
  EXPECT_EQ(HtmlInRtf("{\\rtf1\\ansi\\fromtext text}"), std::nullopt);
  EXPECT_EQ(HtmlInRtf(""), std::nullopt);
  EXPECT_EQ(HtmlOf(""), "");
}

TEST(HtmlInRtf, TagsAndTextAreKeptAndRtfIsNot) {
  EXPECT_EQ(HtmlOf("{\\*\\htmltag64 <p>}\\htmlrtf {\\b \\htmlrtf0 bold\\htmlrtf }\\htmlrtf0 "
                   "{\\*\\htmltag72 </p>}"),
            "<p>bold</p>");
  EXPECT_EQ(HtmlOf("{\\*\\mhtmltag64 <img src=\"x\">}{\\*\\htmltag64 <img src=\"cid:x\">}"),
            "<img src=\"cid:x\">");
}

TEST(HtmlInRtf, DestinationsWithoutTextAreLeftOut) {
  EXPECT_EQ(HtmlOf("{\\fonttbl{\\f0 Arial;}}{\\colortbl;\\red0;}{\\*\\generator Word;}"
                   "{\\info{\\author A}}{\\pntext \\'b7}text"),
            "text");
}

TEST(HtmlInRtf, ControlWordsForCharacters) {
  EXPECT_EQ(HtmlOf("a\\par b\\line c\\tab d"), "a\r\nb\r\nc\td");
  EXPECT_EQ(HtmlOf("\\lquote x\\rquote  \\ldblquote y\\rdblquote  \\bullet\\endash\\emdash\\~\\_"),
            "&lsquo;x&rsquo; &ldquo;y&rdquo; &bull;&ndash;&mdash;&nbsp;&shy;");
  EXPECT_EQ(HtmlOf("\\{\\}\\\\"), "{}\\");
  EXPECT_EQ(HtmlOf("a\r\nb"), "ab");
}

TEST(HtmlInRtf, BytesAreInTheCodePageOfTheTextOrItsFont) {
  EXPECT_EQ(HtmlOf("Z\\'fcrich"), "Z\xC3\xBCrich");
  // Two bytes make a character, and the second one may be written plainly.
  const std::string fonts = "{\\fonttbl{\\f0\\fcharset0 Arial;}{\\f1\\fcharset134 SimSun;}}";
  EXPECT_EQ(HtmlOf(fonts + "\\f1 \\'b2\\'e2\\f0 \\'e4"), "\xE6\xB5\x8B\xC3\xA4");
  EXPECT_EQ(HtmlOf(fonts + "{\\f1 \\'81@}\\'e4"), "\xE4\xB8\x82\xC3\xA4");
  EXPECT_EQ(HtmlInRtf("{\\rtf1\\ansicpg1251\\fromhtml1 {\\*\\htmltag \\'c0}\\'c1}"),
            "\xD0\x90\xD0\x91");
}

TEST(HtmlInRtf, UnicodeReplacesWhatFollows) {
  EXPECT_EQ(HtmlOf("\\u252?rich"), "\xC3\xBCrich");
  EXPECT_EQ(HtmlOf("\\u252\\'fcrich"), "\xC3\xBCrich");
  EXPECT_EQ(HtmlOf("\\uc2\\u252 ??rich"), "\xC3\xBCrich");
  EXPECT_EQ(HtmlOf("\\uc0\\u252 rich"), "\xC3\xBCrich");
  EXPECT_EQ(HtmlOf("\\u-3?"), "\xEF\xBF\xBD");
  EXPECT_EQ(HtmlOf("\\u-10179?\\u-8704?"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(HtmlOf("\\u-8704?"), "\xEF\xBF\xBD");
}

TEST(HtmlInRtf, DamageIsSkipped) {
  EXPECT_EQ(HtmlOf("a}}}b"), "ab");
  EXPECT_EQ(HtmlOf("{{{a"), "a");
  EXPECT_EQ(HtmlOf("a\\'zz"), "azz");
  EXPECT_EQ(HtmlOf("a\\bin3 {{{b"), "ab");
  EXPECT_EQ(HtmlInRtf("{\\rtf1\\fromhtml1 a\\"), "a");
  EXPECT_EQ(HtmlInRtf("{\\rtf1\\fromhtml1 a\\'"), "a");
  EXPECT_EQ(HtmlInRtf("{\\rtf1\\fromhtml1 a\\bin99999999 b"), "a");
}

}  // namespace
}  // namespace simulation::mail
