// Logs in each encoding that they arrive in.
#include "inspection/logs/logreader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <sstream>
#include <string>
#include <vector>

#include "inspection/logs/logline.h"

namespace inspection::logs {
namespace {

using testing::ElementsAre;

std::vector<std::string> LinesOf(const std::string& bytes, std::string* error = nullptr) {
  std::istringstream stream(bytes);
  LogReader reader(stream);
  std::vector<std::string> lines;
  for (std::string_view line; reader.Next(&line);) lines.emplace_back(line);
  if (error != nullptr) *error = reader.Error();
  return lines;
}

std::string Gzip(const std::string& bytes) {
  z_stream zip{};
  deflateInit2(&zip, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  std::string packed(bytes.size() + 1000, '\0');
  zip.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  zip.avail_in = static_cast<uInt>(bytes.size());
  zip.next_out = reinterpret_cast<Bytef*>(packed.data());
  zip.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&zip, Z_FINISH), Z_STREAM_END);
  packed.resize(packed.size() - zip.avail_out);
  deflateEnd(&zip);
  return packed;
}

std::string Utf16(const std::u16string& text, bool isLittleEndian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += isLittleEndian ? low : high;
    bytes += isLittleEndian ? high : low;
  }
  return bytes;
}

TEST(LogReader, EndsLinesWithLfCrLfAndCr) {
  EXPECT_THAT(LinesOf("a\nb\r\nc\rd"), ElementsAre("a", "b", "c", "d"));
  EXPECT_THAT(LinesOf("a\r\r\n\nb\n"), ElementsAre("a", "", "", "b"));
  EXPECT_THAT(LinesOf(""), ElementsAre());
  EXPECT_THAT(LinesOf("a"), ElementsAre("a"));
}

TEST(LogReader, SkipsAUtf8ByteOrderMark) {
  EXPECT_THAT(LinesOf("\xEF\xBB\xBFone\ntwo\n"), ElementsAre("one", "two"));
}

TEST(LogReader, DecodesUtf16WithAndWithoutByteOrderMark) {
  for (const bool isLittleEndian : {true, false}) {
    EXPECT_THAT(LinesOf(Utf16(u"\xFEFF(1)\x00E9\r\n\xD83D\xDE00\n", isLittleEndian)),
                ElementsAre("(1)\xC3\xA9", "\xF0\x9F\x98\x80"));
    EXPECT_THAT(LinesOf(Utf16(u"(1)\n", isLittleEndian)), ElementsAre("(1)"));
  }
}

TEST(LogReader, DecompressesAllMembers) {
  EXPECT_THAT(LinesOf(Gzip("one\ntw") + Gzip("o\nthree\n")), ElementsAre("one", "two", "three"));
  EXPECT_THAT(LinesOf(Gzip(Utf16(u"\xFEFFx\r\n", true))), ElementsAre("x"));
}

TEST(LogReader, ReportsDamagedAndIncompleteCompression) {
  std::string packed = Gzip(std::string(10'000, 'x') + "\n");
  std::string error;
  LinesOf(packed.substr(0, packed.size() - 9), &error);
  EXPECT_EQ(error, "the compressed data is incomplete");
  packed[12] = static_cast<char>(packed[12] ^ 0x55);
  LinesOf(packed, &error);
  EXPECT_EQ(error, "the compressed data is damaged");
}

TEST(LogReader, CutsEndlessLines) {
  const std::vector<std::string> lines = LinesOf(std::string(3'000'000, 'x') + "\nnext\n");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].size(), kMaxLogLine);
  EXPECT_EQ(lines[1], "next");
}

TEST(LogReader, ContinuesWithWhatIsWrittenLater) {
  std::stringstream stream;
  stream << "one\n";
  LogReader reader(stream);
  std::string_view line;
  ASSERT_TRUE(reader.Next(&line));
  ASSERT_FALSE(reader.Next(&line));
  stream.clear();
  stream << "two\n";
  ASSERT_FALSE(reader.Next(&line));
  reader.Resume();
  ASSERT_TRUE(reader.Next(&line));
  EXPECT_EQ(line, "two");
}

TEST(SourceLine, AsTheLoggerWritesIt) {
  std::string buffer;
  const auto source = ParseSourceLine("(7) 11/21/2026 01:47:41.928 Outlook> Info: hi", &buffer);
  ASSERT_TRUE(source);
  EXPECT_EQ(source->machine, "");
  EXPECT_EQ(source->line.message, "hi");
}

TEST(SourceLine, BehindEachSyslogHeader) {
  const std::string line = "(7) 11/21/2026 01:47:41.928 Outlook> Info: hi";
  for (const std::string header :
       {"Nov 21 01:47:41 PC17 ", "Nov  1 01:47:41 PC17 ", "<134>Nov 21 01:47:41 PC17 quorvex: ",
        "<134>1 2026-11-21T01:47:41.928Z PC17 quorvex - - - ",
        "2026-11-21T01:47:41.928+01:00 PC17 ", "PC17 "}) {
    std::string buffer;
    const std::string text = header + line + "#015#012 \r\n";
    const auto source = ParseSourceLine(text, &buffer);
    ASSERT_TRUE(source) << header;
    EXPECT_EQ(source->machine, "PC17") << header;
    EXPECT_EQ(source->line.thread, "7");
    EXPECT_EQ(source->line.message, "hi");
  }
}

TEST(SourceLine, TextInFrontOfALogLineIsNoHeader) {
  std::string buffer;
  EXPECT_FALSE(ParseSourceLine("he wrote: (7) 11/21/2026 01:47:41.928 Outlook> Info: hi", &buffer));
  EXPECT_FALSE(ParseSourceLine("just text", &buffer));
}

TEST(SourceLine, AsListenPrintsIt) {
  std::string buffer;
  const auto text =
      ParseSourceLine("01:47:41.928 10.0.0.5:40212        Warn Outlook: a: b", &buffer);
  ASSERT_TRUE(text);
  EXPECT_EQ(text->machine, "10.0.0.5");
  EXPECT_EQ(text->line.thread, "40212");
  EXPECT_EQ(text->line.level, "Warn");
  EXPECT_EQ(text->line.message, "a: b");
  const auto json = ParseSourceLine(
      R"({"received":"2026-11-21T01:47:41.930","sender":"10.0.0.5:40212","foreign":false,)"
      R"("time":"11/21/2026 01:47:41.928","thread":"7","level":"Info","module":"Outlook",)"
      R"("text":"Mail subject: [a \"b\"]"})",
      &buffer);
  ASSERT_TRUE(json);
  EXPECT_EQ(json->machine, "10.0.0.5");
  EXPECT_EQ(json->line.time, "11/21/2026 01:47:41.928");
  EXPECT_EQ(json->line.message, "Mail subject: [a \"b\"]");
}

}  // namespace
}  // namespace inspection::logs
