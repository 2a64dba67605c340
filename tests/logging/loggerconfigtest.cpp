// Logger.cfg: its lines and the streams that they create.
#include "logging/loggerconfig.h"

#include <gmock/gmock.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/folders.h"
#include "tests/logging/loggingtest.h"
#include "tests/logging/udpreceiver.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/textfile.h"

namespace {

using platform::ScopedReplacement;
using platform::WideString;
using testing::ElementsAre;
using testing::IsEmpty;

class Config : public testing::Test {
 protected:
  // Writes Logger.cfg and returns its path.
  std::string Given(std::string_view text) const {
    MakeFile(folder.Path() / "Logger.cfg", text);
    return folder.Entry("Logger.cfg");
  }

  int Load(std::string_view text) { return logger.LoadConfigFile(Given(text).c_str()); }

  // "type mask" of each stream of the module, in the order in which they get a line.
  std::vector<std::string> Streams(const char* module) const {
    std::vector<std::string> streams;
    const CModuleLogInfo* const info = logger.FindModule(module);
    if (info == nullptr) return streams;
    for (auto* wrapper = info->m_pStreams; wrapper != nullptr; wrapper = wrapper->m_pNext) {
      streams.push_back(std::string(wrapper->m_szType) + " " + std::to_string(wrapper->m_uMask));
    }
    return streams;
  }

  // The base names of the new file streams in order, without the computer's name.
  std::vector<WideString> fileNames;
  tests::TemporaryFolder folder;
  OpenLogger logger;

 private:
  ScopedReplacement<platform::files, &platform::FileOperations::GetFileAttributesExW> m_asked{
      [this](auto, const platform::WideChar* path, std::uint64_t*) {
        const WideString tail =
            QV_WIDE(".") + WideString(logger.m_wszComputerName) + QV_WIDE("_0.log");
        WideString name = path;
        EXPECT_TRUE(name.ends_with(tail));
        name.resize(name.size() - tail.size());
        fileNames.push_back(name);
        return false;
      }};
};

// Single lines.

TEST(ConfigLine, HasUpToFourFieldsDividedByWhiteSpace) {
  const logging::ConfigFields fields =
      logging::ScanConfigLine(" \t\v\f\rOutlook\v15 \t File\f\rC:\\x rest\n");
  EXPECT_EQ(fields.module, "Outlook");
  EXPECT_EQ(fields.mask, "15");
  EXPECT_EQ(fields.type, "File");
  EXPECT_EQ(fields.parameter, "C:\\x");
}

TEST(ConfigLine, LeavesMissingFieldsEmpty) {
  const logging::ConfigFields fields = logging::ScanConfigLine("Outlook 15");
  EXPECT_EQ(fields.module, "Outlook");
  EXPECT_EQ(fields.mask, "15");
  EXPECT_EQ(fields.type, "");
  EXPECT_EQ(fields.parameter, "");
  EXPECT_EQ(logging::ScanConfigLine(" \r\n").module, "");
}

TEST(ConfigLine, AcceptsTheLongestTokenOfEachField) {
  const std::string parameter(259, 'p');
  const logging::ConfigFields fields =
      logging::ScanConfigLine("abcdefghijklmno 123 abcdefg " + parameter);
  EXPECT_EQ(fields.module, "abcdefghijklmno");
  EXPECT_EQ(fields.mask, "123");
  EXPECT_EQ(fields.type, "abcdefg");
  EXPECT_EQ(fields.parameter, parameter);
}

TEST(ConfigLine, StopsAtATokenThatIsTooLong) {
  logging::ConfigFields fields = logging::ScanConfigLine("abcdefghijklmnop 15 File x");
  EXPECT_EQ(fields.module + fields.mask + fields.type + fields.parameter, "");
  fields = logging::ScanConfigLine("Outlook 1234 File x");
  EXPECT_EQ(fields.module, "Outlook");
  EXPECT_EQ(fields.mask + fields.type + fields.parameter, "");
  fields = logging::ScanConfigLine("Outlook 15 abcdefgh x");
  EXPECT_EQ(fields.mask, "15");
  EXPECT_EQ(fields.type + fields.parameter, "");
  fields = logging::ScanConfigLine("Outlook 15 File " + std::string(260, 'p'));
  EXPECT_EQ(fields.type, "File");
  EXPECT_EQ(fields.parameter, "");
}

TEST(ConfigLine, IsACommentOnlyByItsVeryFirstCharacter) {
  EXPECT_TRUE(logging::IsConfigComment("; Outlook 15 Dbg"));
  EXPECT_TRUE(logging::IsConfigComment(""));
  EXPECT_FALSE(logging::IsConfigComment(" ; Outlook 15 Dbg"));
  EXPECT_FALSE(logging::IsConfigComment("\n"));
}

// Whole files.

TEST_F(Config, CreatesOneStreamPerLine) {
  EXPECT_EQ(Load("Outlook 15 File C:\\logs\\outlook\n"
                 "Outlook 12 Dbg\n"
                 "outlook 8 udp 127.0.0.1:1514\n"),
            1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("udp 8", "Dbg 12", "File 15"));
  EXPECT_THAT(fileNames, ElementsAre(QV_WIDE("C:\\logs\\outlook")));
  EXPECT_THAT(logger.m_logFiles, ElementsAre(QV_WIDE("C:\\logs\\outlook")));
}

TEST_F(Config, AcceptsCarriageReturnLineFeed) {
  EXPECT_EQ(Load("; first\r\nOutlook 15 File C:\\a b\r\nOutlook 12 Dbg"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 12", "File 15"));
  EXPECT_THAT(fileNames, ElementsAre(QV_WIDE("C:\\a b")));
}

TEST_F(Config, KeepsBlanksWithinAPathAndDropsTrailingOnes) {
  EXPECT_EQ(Load("Outlook 15 File C:\\Program Files\\a  b\tc \t \n"), 1);
  EXPECT_THAT(fileNames, ElementsAre(QV_WIDE("C:\\Program Files\\a  b\tc")));
  EXPECT_THAT(logger.m_logFiles, ElementsAre(QV_WIDE("C:\\Program Files\\a  b\tc")));
}

TEST_F(Config, BeginsAParameterAtItsFirstOccurrenceInTheLine) {
  EXPECT_EQ(Load("Outlook 15 File Outlook log\n"), 1);
  EXPECT_THAT(fileNames, ElementsAre(QV_WIDE("Outlook 15 File Outlook log")));
  fileNames.clear();
  EXPECT_EQ(Load("Outlook 15 File 5 six\n"), 1);
  EXPECT_THAT(fileNames, ElementsAre(QV_WIDE("5 File 5 six")));
}

TEST_F(Config, KeepsAUdpParameterToOneToken) {
  UdpReceiver receiver;
  // If the blank were included, the port would be 1.
  const std::string port = std::to_string(receiver.Port());
  EXPECT_EQ(Load("Outlook 15 UDP 127.0.0.1:" + port + " :1\n"), 1);
  FixedStamp stamp;
  logger.Log("Outlook", kLogInfo, "x");
  EXPECT_EQ(receiver.Receive(), "(00042) 02/03/2024 04:05:06.007 Outlook> Info: x\r\n");
  EXPECT_THAT(logger.m_logFiles, IsEmpty());
}

TEST_F(Config, CreatesTwoStreamsAndOneEntryForTwoModulesWithOnePath) {
  EXPECT_EQ(Load("Outlook 15 File C:\\log\nOther 15 File C:\\log\n"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("File 15"));
  EXPECT_THAT(Streams("Other"), ElementsAre("File 15"));
  EXPECT_NE(logger.FindModule("Outlook")->m_pStreams->m_pStream,
            logger.FindModule("Other")->m_pStreams->m_pStream);
  EXPECT_THAT(logger.m_logFiles, ElementsAre(QV_WIDE("C:\\log")));
}

TEST_F(Config, IsCompleteWithThreeFieldsForTheDebugger) {
  EXPECT_EQ(Load("Outlook 15 Dbg"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
}

TEST_F(Config, TreatsASemicolonAfterABlankAsAModule) {
  EXPECT_EQ(Load(" ; 15 Dbg\n"), 1);
  EXPECT_THAT(Streams(";"), ElementsAre("Dbg 15"));
  EXPECT_EQ(Load(" ; a comment, or so it looks\n"), 0);
}

TEST_F(Config, TreatsAByteOrderMarkAsPartOfTheFirstModule) {
  EXPECT_EQ(Load("\xEF\xBB\xBFOutlook 15 Dbg\n"), 1);
  EXPECT_FALSE(logger.IsModuleLogged("Outlook"));
  EXPECT_TRUE(logger.IsModuleLogged("\xEF\xBB\xBFOutlook"));
}

TEST_F(Config, ReloadReplacesTheRegistry) {
  const std::string path = Given("Outlook 15 Dbg\nOutlook 1 File C:\\one\nOld 1 Dbg\n");
  EXPECT_EQ(logger.LoadConfigFile(path.c_str()), 1);
  EXPECT_EQ(logger.LoadConfigFile(path.c_str()), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("File 1", "Dbg 15"));
  EXPECT_EQ(Load("Outlook 3 Dbg\n"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 3"));
  EXPECT_EQ(logger.FindModule("Old"), nullptr);
  EXPECT_THAT(logger.m_logFiles, IsEmpty());
}

TEST_F(Config, CutsALineAt291CharactersAndReadsTheRestAsALine) {
  // The first piece ends within the blanks, so the second line's module is in the rest.
  const std::string first = "Outlook 15 Dbg";
  EXPECT_EQ(Load(first + std::string(291 - first.size(), ' ') + "Other 7 Dbg\n"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
  EXPECT_THAT(Streams("Other"), ElementsAre("Dbg 7"));
  // With one more character in front, the module's first character ends the first piece.
  EXPECT_EQ(Load(first + std::string(290 - first.size(), ' ') + "Other 7 Dbg\n"), 1);
  EXPECT_EQ(logger.FindModule("Other"), nullptr);
  EXPECT_THAT(Streams("ther"), ElementsAre("Dbg 7"));
}

TEST(ConfigLines, CountTheLineEndAmongThe291Characters) {
  const std::string fitting(290, 'x');
  const tests::TextFile file(fitting + "\n" + fitting + "\r\n" + fitting + "y\nz");
  logging::ConfigLines lines(file.Path().c_str());
  const auto next = [&lines] {
    std::string_view line;
    return lines.Next(&line) ? std::string(line) : "no line";
  };
  EXPECT_EQ(next(), fitting + "\n");
  EXPECT_EQ(next(), fitting + "\n") << "CR LF counts as one character";
  EXPECT_EQ(next(), fitting + "y");
  EXPECT_EQ(next(), "\n") << "the rest of a line that is one character too long";
  EXPECT_EQ(next(), "z");
  EXPECT_EQ(next(), "no line");
}

TEST_F(Config, EndsALineAtANul) {
  EXPECT_EQ(Load(std::string_view("\0Outlook 15 Dbg\nOther 3 Dbg \0x\nThird 1\0 Dbg\n", 45)), 0);
  EXPECT_FALSE(logger.IsModuleLogged("Outlook"));
  EXPECT_THAT(Streams("Other"), ElementsAre("Dbg 3"));
  EXPECT_FALSE(logger.IsModuleLogged("Third"));
}

TEST_F(Config, ReadsOnAfterAControlZ) {
  EXPECT_EQ(Load("\x1A 15 Dbg\nOutlook 15 Dbg\n"), 1);
  EXPECT_TRUE(logger.IsModuleLogged("Outlook"));
}

TEST_F(Config, WithAnyBytesCrashesNothing) {
  std::string bytes;
  std::uint32_t state = 12345;
  for (int i = 0; i < 200000; ++i) {
    state = state * 1664525 + 1013904223;
    bytes += static_cast<char>(state >> 24);
  }
  EXPECT_EQ(Load(bytes + "\nOutlook 15 Dbg\n"), 0);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
}

// Failures.

TEST_F(Config, MissingFileKeepsTheRegistry) {
  EXPECT_EQ(Load("Outlook 15 File C:\\x\n"), 1);
  EXPECT_EQ(logger.LoadConfigFile(folder.Entry("none.cfg").c_str()), 0);
  EXPECT_EQ(logger.LoadConfigFile(nullptr), 0);
  EXPECT_EQ(logger.LoadConfigFile(""), 0);
  {
    ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> create(
        [](auto, auto...) { return platform::kInvalidHandle; });
    EXPECT_EQ(logger.LoadConfigFile(folder.Entry("Logger.cfg").c_str()), 0);
  }
  EXPECT_THAT(Streams("Outlook"), ElementsAre("File 15"));
  EXPECT_THAT(logger.m_logFiles, ElementsAre(QV_WIDE("C:\\x")));
}

TEST_F(Config, UnreadableFileIsLikeAnEmptyOne) {
  const std::string path = Given("Outlook 15 Dbg\n");
  ScopedReplacement<platform::files, &platform::FileOperations::ReadFile> read(
      [](auto, auto...) { return false; });
  EXPECT_EQ(logger.LoadConfigFile(path.c_str()), 1);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Config, EmptyFileEmptiesTheRegistry) {
  for (const char* text : {"", "; nothing\n;\n"}) {
    ASSERT_EQ(Load("Outlook 15 Dbg\n"), 1);
    EXPECT_EQ(Load(text), 1);
    EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
    EXPECT_EQ(logger.Log("Outlook", kLogInfo, "x"), 0);
  }
}

TEST_F(Config, SkipsALineWithoutAModule) {
  EXPECT_EQ(Load("\n \t\nabcdefghijklmnop 15 Dbg\nOutlook 15 Dbg\n"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
  EXPECT_EQ(logger.FindModule("abcdefghijklmnop"), nullptr);
}

class RefusedLine : public Config, public testing::WithParamInterface<const char*> {};

TEST_P(RefusedLine, MakesTheResultZeroAndKeepsTheOtherLines) {
  EXPECT_EQ(Load("Outlook 1 Dbg\nBad " + std::string(GetParam()) + "\nOutlook 2 Dbg\n"), 0);
  EXPECT_EQ(logger.FindModule("Bad"), nullptr);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 2", "Dbg 1"));
}

INSTANTIATE_TEST_SUITE_P(, RefusedLine,
                         testing::Values("", "15", "1234 Dbg", "0 Dbg", "-1 Dbg", "x Dbg",
                                         "0xF Dbg", "15 Debugger", "15 Dbgx", "15 File",
                                         "15 File \t", "15 UDP", "15 File C:\\\xFF\xFE"));

TEST_F(Config, AcceptsAMaskThatStartsWithANumber) {
  EXPECT_EQ(Load("Outlook 7x Dbg\nOutlook +9 Dbg\nOutlook 999 Dbg\n"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 999", "Dbg 9", "Dbg 7"));
}

TEST_F(Config, RecordsNoFileThatIsNotUtf8) {
  EXPECT_EQ(Load("Outlook 15 File C:\\\xFF\n"), 0);
  EXPECT_THAT(logger.m_logFiles, IsEmpty());
  EXPECT_THAT(fileNames, IsEmpty());
}

TEST_F(Config, RecordsAFileWhoseLineIsRejectedForItsMask) {
  EXPECT_EQ(Load("Outlook 0 File C:\\noted\n"), 0);
  EXPECT_THAT(logger.m_logFiles, ElementsAre(QV_WIDE("C:\\noted")));
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Config, AcceptsAParameterOf259CharactersAndRejectsOneOf260) {
  const std::string fits = "C:\\a " + std::string(254, 'b');
  ASSERT_EQ(fits.size(), 259U);
  EXPECT_EQ(Load("Outlook 15 File " + fits + " \n"), 1);
  EXPECT_THAT(fileNames, ElementsAre(WideString(fits.begin(), fits.end())));
  fileNames.clear();
  EXPECT_EQ(Load("Outlook 15 File " + fits + "c\nOutlook 1 Dbg\n"), 0);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 1"));
  EXPECT_THAT(fileNames, IsEmpty());
  EXPECT_THAT(logger.m_logFiles, IsEmpty());
}

TEST_F(Config, RejectsAParameterThatIsTooLongBecauseItBeginsEarly) {
  const std::string path = "Outlook " + std::string(251, 'b');
  ASSERT_EQ(path.size(), 259U);
  EXPECT_EQ(Load("Outlook 15 File " + path + "\n"), 0);
  EXPECT_THAT(fileNames, IsEmpty());
}

// The file in the system directory.

using ReplacedSystemFolder =
    ScopedReplacement<platform::folders, &platform::FolderOperations::GetSystemDirectoryA>;

ReplacedSystemFolder::Function Giving(const std::string& path) {
  return [path](auto, char* buffer, std::uint32_t size) {
    EXPECT_EQ(size, 260U);
    EXPECT_EQ(std::string(buffer, size), std::string(size, '\0'));
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return static_cast<std::uint32_t>(path.size());
  };
}

TEST_F(Config, IsReadFromTheSystemDirectory) {
  Given("Outlook 15 Dbg\nOutlook 0 Dbg\n");
  ReplacedSystemFolder system(Giving(folder.Entry("")));
  EXPECT_EQ(logger.LoadConfig(), 0);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
  Given("Outlook 7 Dbg\n");
  EXPECT_EQ(logger.LoadConfig(), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 7"));
}

TEST_F(Config, IsOpenedByItsNameInTheSystemDirectory) {
  ReplacedSystemFolder system(Giving("C:\\Windows\\system32"));
  std::string opened;
  ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> create(
      [&opened](auto, const char* path, auto...) {
        opened = path;
        return platform::kInvalidHandle;
      });
  EXPECT_EQ(logger.LoadConfig(), 0);
  EXPECT_EQ(opened, "C:\\Windows\\system32\\Logger.cfg");
}

TEST_F(Config, IsNotReadWithoutASystemDirectory) {
  ASSERT_EQ(Load("Outlook 15 Dbg\n"), 1);
  for (const std::uint32_t result : {0U, 260U, 1000U}) {
    ReplacedSystemFolder system([result](auto, char*, std::uint32_t) { return result; });
    EXPECT_EQ(logger.LoadConfig(), 0);
    EXPECT_EQ(logger.LoadModuleConfig("Other"), 0);
    EXPECT_EQ(logger.LoadModuleConfig("Outlook"), 0);
  }
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
}

// The line of one module.

TEST_F(Config, OfOneModuleAddsItsFirstLineOnly) {
  ASSERT_EQ(Load("Other 1 Dbg\n"), 1);
  const std::string path = Given("Third 3 Dbg\noutlook 15 Dbg\nOutlook 7 Dbg\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "OUTLOOK"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
  EXPECT_THAT(Streams("Other"), ElementsAre("Dbg 1"));
  EXPECT_EQ(logger.FindModule("Third"), nullptr);
}

TEST_F(Config, OfOneModuleAddsToItsStreams) {
  const std::string path = Given("Outlook 15 Dbg\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 1);
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15", "Dbg 15"));
}

TEST_F(Config, OfOneModuleRecordsTheFilesOfEarlierLinesToo) {
  ASSERT_EQ(Load("Old 1 File C:\\old\n"), 1);
  const std::string path =
      Given("Other 1 File C:\\other log\nOutlook 1 File C:\\own\nLate 1 File C:\\late\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 1);
  EXPECT_THAT(logger.m_logFiles,
              ElementsAre(QV_WIDE("C:\\old"), QV_WIDE("C:\\other log"), QV_WIDE("C:\\own")));
  EXPECT_THAT(fileNames, ElementsAre(QV_WIDE("C:\\old"), QV_WIDE("C:\\own")));
}

TEST_F(Config, OfOneModuleFailsWithItsFirstLine) {
  const std::string path = Given("Outlook 0 Dbg\nOutlook 15 Dbg\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 0);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
  const std::string tooLong = "C:\\a " + std::string(255, 'b');
  EXPECT_EQ(logger.LoadModuleConfigFile(
                Given("Outlook 1 File " + tooLong + "\nOutlook 15 Dbg\n").c_str(), "Outlook"),
            0);
  EXPECT_EQ(logger.FindModule("Outlook"), nullptr);
}

TEST_F(Config, OfOneModuleContinuesAfterAnotherModulesRejectedLine) {
  const std::string tooLong = "C:\\a " + std::string(255, 'b');
  const std::string path = Given("Other 1 File " + tooLong + "\n;Outlook 1 Dbg\nOutlook 15 Dbg\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
}

TEST_F(Config, OfOneModuleRecordsNoFileOfAComment) {
  const std::string path = Given(";Other 1 File C:\\other\nOutlook 15 Dbg\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 1);
  EXPECT_THAT(logger.m_logFiles, IsEmpty());
}

TEST_F(Config, OfOneModuleReturnsZeroWithoutArgumentsFileOrLine) {
  const std::string path = Given("Other 15 Dbg\n\n");
  EXPECT_EQ(logger.LoadModuleConfigFile(nullptr, "Outlook"), 0);
  EXPECT_EQ(logger.LoadModuleConfigFile("", "Outlook"), 0);
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), nullptr), 0);
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), ""), 0);
  EXPECT_EQ(logger.LoadModuleConfigFile(folder.Entry("none").c_str(), "Outlook"), 0);
  EXPECT_EQ(logger.LoadModuleConfigFile(path.c_str(), "Outlook"), 0);
  EXPECT_EQ(logger.FindModule("Other"), nullptr);
}

TEST_F(Config, OfARegisteredModuleIsNotRead) {
  ASSERT_EQ(Load("Outlook 15 Dbg\n"), 1);
  ReplacedSystemFolder system(Giving(folder.Entry("")));
  int opened = 0;
  ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> create(
      [&opened](auto original, auto... arguments) {
        ++opened;
        return original(arguments...);
      });
  EXPECT_EQ(logger.LoadModuleConfig("OUTLOOK"), 1);
  EXPECT_EQ(opened, 0);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 15"));
  EXPECT_EQ(logger.LoadModuleConfig("Other"), 0);
  EXPECT_EQ(opened, 1);
  EXPECT_EQ(logger.LoadModuleConfig(nullptr), 0);
}

TEST_F(Config, OfOneModuleIsReadFromTheSystemDirectory) {
  Given("Other 3 Dbg\nOutlook 7 Dbg\n");
  ReplacedSystemFolder system(Giving(folder.Entry("")));
  EXPECT_EQ(logger.LoadModuleConfig("Outlook"), 1);
  EXPECT_THAT(Streams("Outlook"), ElementsAre("Dbg 7"));
}

}  // namespace
