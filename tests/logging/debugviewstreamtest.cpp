// The stream to the debugger.
#include "logging/debugviewstream.h"

#include <gmock/gmock.h>

#include <new>
#include <string>
#include <vector>

#include "platform/codepages.h"
#include "platform/diagnostics.h"
#include "platform/scopedreplacement.h"
#include "tests/logging/loggingtest.h"

namespace {

bool g_noMemory = false;

}  // namespace

// Replaced because this is the logging's only nothrow allocation.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  if (g_noMemory) return nullptr;
  try {
    return ::operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace {

using platform::CodePageOperations;
using platform::DiagnosticsOperations;
using platform::ScopedReplacement;
using platform::WideString;
using testing::ElementsAre;
using testing::IsEmpty;

class DebugViewStream : public testing::Test {
 protected:
  std::vector<WideString> wide;
  std::vector<std::string> narrow;
  CDebugViewStream stream;

 private:
  ScopedReplacement<platform::diagnostics, &DiagnosticsOperations::OutputDebugStringW> m_wide{
      [this](auto, const platform::WideChar* text) { wide.emplace_back(text); }};
  ScopedReplacement<platform::diagnostics, &DiagnosticsOperations::OutputDebugStringA> m_narrow{
      [this](auto, const char* text) { narrow.emplace_back(text); }};
};

TEST_F(DebugViewStream, SendsWideTextToTheDebugger) {
  stream.Write("\xC3\xA4 \xF0\x9F\x98\x80\r\n");
  EXPECT_THAT(wide, ElementsAre(WideString(QV_WIDE("\u00E4 \U0001F600\r\n"))));
  EXPECT_THAT(narrow, IsEmpty());
}

TEST_F(DebugViewStream, ShowsInvalidBytesAsReplacementCharacters) {
  stream.Write("a\xFFz");
  EXPECT_THAT(wide, ElementsAre(WideString(QV_WIDE("a\uFFFDz"))));
  EXPECT_THAT(narrow, IsEmpty());
}

TEST_F(DebugViewStream, ConvertsFromUtf8WithoutFlags) {
  int asked = 0;
  ScopedReplacement<platform::codepages, &CodePageOperations::MultiByteToWideChar> convert(
      [&asked](auto original, std::uint32_t codePage, std::uint32_t flags, auto... rest) {
        ++asked;
        EXPECT_EQ(codePage, 65001U);
        EXPECT_EQ(flags, 0U);
        return original(codePage, flags, rest...);
      });
  stream.Write("text");
  EXPECT_EQ(asked, 2);
  EXPECT_THAT(wide, ElementsAre(WideString(QV_WIDE("text"))));
}

TEST_F(DebugViewStream, SendsNarrowTextIfTheConversionFails) {
  ScopedReplacement<platform::codepages, &CodePageOperations::MultiByteToWideChar> convert(
      [](auto, auto...) { return 0; });
  stream.Write("\xC3\xA4 text\r\n");
  EXPECT_THAT(wide, IsEmpty());
  EXPECT_THAT(narrow, ElementsAre("\xC3\xA4 text\r\n"));
}

TEST_F(DebugViewStream, SendsNarrowTextIfMemoryRunsOut) {
  g_noMemory = true;
  stream.Write("text\r\n");
  g_noMemory = false;
  EXPECT_THAT(wide, IsEmpty());
  EXPECT_THAT(narrow, ElementsAre("text\r\n"));
}

TEST_F(DebugViewStream, IgnoresNullAndEmptyText) {
  stream.Write(nullptr);
  stream.Write("");
  EXPECT_THAT(wide, IsEmpty());
  EXPECT_THAT(narrow, IsEmpty());
}

TEST_F(DebugViewStream, WritesALineOfTheLogger) {
  FixedStamp stamp;
  OpenLogger logger;
  ASSERT_EQ(logger.AddStream("Outlook", 15, "Dbg", nullptr), 1);
  logger.Log("Outlook", kLogWarn, "x");
  EXPECT_THAT(
      wide,
      ElementsAre(WideString(QV_WIDE("(00042) 02/03/2024 04:05:06.007 Outlook> Warn: x\r\n"))));
}

TEST_F(DebugViewStream, ALineForWhichAStreamHasNoMemoryIsLostAndTheWorkGoesOn) {
  FixedStamp stamp;
  OpenLogger logger;
  ASSERT_EQ(logger.AddStream("Outlook", 15, "Dbg", nullptr), 1);
  {
    const ScopedReplacement<platform::diagnostics, &DiagnosticsOperations::OutputDebugStringW> full(
        [](auto, const platform::WideChar*) { throw std::bad_alloc(); });
    EXPECT_EQ(logger.Log("Outlook", kLogWarn, "lost"), 1);
  }
  EXPECT_EQ(logger.Log("Outlook", kLogWarn, "x"), 1);
  EXPECT_THAT(
      wide,
      ElementsAre(WideString(QV_WIDE("(00042) 02/03/2024 04:05:06.007 Outlook> Warn: x\r\n"))));
}

}  // namespace
