// How a Logger.cfg is explained.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "inspection/logs/loggercheck.h"
#include "tests/support/temporaryfolder.h"

namespace inspection::logs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Returns the lines as "number kind module: what", each followed by its warnings as "! warning".
class LoggerCheckTest : public testing::Test {
 protected:
  std::vector<std::string> Check(const std::string& text, bool looksAtFolders = false) {
    const std::string path = m_folder.Entry("Logger.cfg");
    std::ofstream(path, std::ios::binary) << text;
    std::vector<std::string> shown;
    m_report = CheckLoggerConfig(
        path,
        [&shown](const LoggerLine& line) {
          shown.push_back(std::to_string(line.line) + " " + NameOf(line.kind) + " " + line.module +
                          ": " + line.what);
          for (const std::string& warning : line.warnings) shown.push_back("! " + warning);
        },
        looksAtFolders);
    EXPECT_TRUE(m_report.opened);
    return shown;
  }

  tests::TemporaryFolder m_folder;
  LoggerReport m_report;
};

TEST_F(LoggerCheckTest, EachKindOfStreamIsTold) {
  EXPECT_THAT(Check("; remark\r\n"
                    "Outlook 15 File C:\\log files\\mail \t\r\n"
                    "\r\n"
                    "OUTLOOK 12 dbg\n"
                    "Outlook 8 UDP 10.0.0.1:1514\n"
                    "Other 1 UDP 10.0.0.1"),
              ElementsAre("2 stream Outlook: Info, Warn, Err, Crit to the files "
                          "C:\\log files\\mail.<computer>_0.log to _4.log",
                          "4 stream OUTLOOK: Err, Crit to the debugger",
                          "5 stream Outlook: Crit to datagrams to 10.0.0.1, port 1514",
                          "6 stream Other: Info to datagrams to 10.0.0.1, port 514"));
  EXPECT_EQ(m_report.streams, 4u);
  EXPECT_EQ(m_report.addInStreams, 3u);
  EXPECT_TRUE(m_report.IsClean());
}

TEST_F(LoggerCheckTest, EachRefusalHasItsReason) {
  EXPECT_THAT(Check("Outlook\n"
                    "Outlook 1500 Dbg\n"
                    "Outlook 0 Dbg\n"
                    "Outlook -3 Dbg\n"
                    "Outlook all Dbg\n"
                    "Outlook 15\n"
                    "Outlook 15 Debugger\n"
                    "Outlook 15 Fil x\n"
                    "Outlook 15 File\n"
                    "Outlook 15 UDP\n"
                    "Outlook 15 File \xC3(\n"),
              ElementsAre("1 refused Outlook: no mask after the module",
                          "2 refused Outlook: the mask is longer than three characters",
                          "3 refused Outlook: the mask \"0\" takes no level",
                          "4 refused Outlook: the mask \"-3\" is negative",
                          "5 refused Outlook: the mask \"all\" is not a number; it is a sum of 1 "
                          "(Info), 2 (Warn), 4 (Err), 8 (Crit)",
                          "6 refused Outlook: no type after the mask",
                          "7 refused Outlook: the type is longer than seven characters; it is "
                          "File, Dbg or UDP",
                          "8 refused Outlook: unknown type \"Fil\"; did you mean \"File\"?; it is "
                          "File, Dbg or UDP",
                          "9 refused Outlook: a File needs a path",
                          "10 refused Outlook: UDP needs an address",
                          "11 refused Outlook: the path is not valid UTF-8"));
  EXPECT_EQ(m_report.refused, 11u);
  EXPECT_THAT(m_report.onFile,
              ElementsAre("no line makes a stream for \"Outlook\": the add-in logs nothing"));
}

TEST_F(LoggerCheckTest, LongNamesAndPathsAreRefused) {
  EXPECT_THAT(Check("Outlook789012345 15 Dbg\nOutlook78901234 15 Dbg\n"),
              ElementsAre("1 skipped : the module's name is longer than 15 characters",
                          "2 stream Outlook78901234: Info, Warn, Err, Crit to the debugger"));
  EXPECT_THAT(
      Check("Outlook 1 File " + std::string(260, 'a') + "\n"),
      ElementsAre("1 refused Outlook: the path's first word is longer than 259 characters"));
  EXPECT_THAT(Check("Outlook 1 UDP " + std::string(260, '1') + "\n"),
              ElementsAre("1 refused Outlook: the address is longer than 259 characters"));
  EXPECT_THAT(Check("Outlook 1 File b " + std::string(258, 'a') + "\n"),
              ElementsAre("1 refused Outlook: the path is longer than 259 characters"));
}

TEST_F(LoggerCheckTest, BlankBeforeTheSemicolonIsNoComment) {
  EXPECT_THAT(Check(" ; Outlook 15 Dbg\nOutlook 1 Dbg"),
              ElementsAre("1 refused ;: the mask is longer than three characters",
                          "! a blank stands before \";\": this is no comment, the line is read",
                          "2 stream Outlook: Info to the debugger"));
}

TEST_F(LoggerCheckTest, ByteOrderMarkBelongsToTheFirstModule) {
  EXPECT_THAT(Check("\xEF\xBB\xBFOutlook 15 Dbg\n"),
              ElementsAre("1 stream \xEF\xBB\xBFOutlook: Info, Warn, Err, Crit to the debugger",
                          "! a byte-order mark begins the file: it is part of this line's "
                          "module"));
  EXPECT_EQ(m_report.addInStreams, 0u);
  EXPECT_EQ(m_report.warnings, 2u);
}

TEST_F(LoggerCheckTest, LongLineIsCutAndItsRestReadAsALine) {
  const std::string comment = ";" + std::string(290, 'x');
  EXPECT_THAT(Check(comment + "Outlook 1 Dbg\nOutlook 2 Dbg\n"),
              ElementsAre("1 stream Outlook: Info to the debugger",
                          "! the line was cut after 291 characters; this is its rest, read as a "
                          "line of its own",
                          "2 stream Outlook: Warn to the debugger"));
  EXPECT_THAT(Check(comment + "\nOutlook 2 Dbg\n"),
              ElementsAre("2 stream Outlook: Warn to the debugger"));
}

TEST_F(LoggerCheckTest, PathThatBeginsTooEarlyIsAWarning) {
  EXPECT_THAT(Check("Outlook 15 File Outlook logs\\mail\n"),
              ElementsAre("1 stream Outlook: Info, Warn, Err, Crit to the files Outlook 15 File "
                          "Outlook logs\\mail.<computer>_0.log to _4.log",
                          "! the path begins too early, because its first word \"Outlook\" also "
                          "occurs before it in the line: the path is \"Outlook 15 File Outlook "
                          "logs\\mail\"",
                          "! the path is relative: the files' folder depends on where Outlook was "
                          "started"));
}

TEST_F(LoggerCheckTest, PathsThatTheAddInTakesLiterallyAreWarnings) {
  EXPECT_THAT(Check("Outlook 15 File \"C:\\Logs\\mail\"\n"),
              ElementsAre(HasSubstr("1 stream"), "! the quotes become part of the path",
                          "! the path is relative: the files' folder depends on where Outlook was "
                          "started"));
  EXPECT_THAT(Check("Outlook 15 File %TEMP%\\mail\n"),
              ElementsAre(HasSubstr("1 stream"),
                          "! the add-in doesn't replace variables like %TEMP%: they become part of "
                          "the path",
                          "! the path is relative: the files' folder depends on where Outlook was "
                          "started"));
  EXPECT_THAT(Check("Outlook 15 File C:\\Logs\\mail.log\n"),
              ElementsAre(HasSubstr("1 stream"),
                          "! the path has an extension: the files will be named "
                          "mail.log.<computer>_0.log"));
  EXPECT_THAT(Check("Outlook 15 File C:\\Logs v1.2\\mail\nOutlook 15 File \\\\srv\\logs\\mail\n"),
              ElementsAre(HasSubstr("1 stream"), HasSubstr("2 stream")));
}

TEST_F(LoggerCheckTest, FolderThatIsMissingIsAWarningWhereThisMachineShouldHaveIt) {
  const std::string here = m_folder.Entry("mail");
  EXPECT_THAT(Check("Outlook 15 File " + here + "\n", true), ElementsAre(HasSubstr("1 stream")));
  EXPECT_THAT(Check("Outlook 15 File " + m_folder.Entry("none") + "/mail\n", true),
              ElementsAre(HasSubstr("1 stream"),
                          "! there is no such folder: the add-in doesn't create it"));
  EXPECT_THAT(Check("Outlook 15 File " + m_folder.Entry("none") + "/mail\n", false),
              ElementsAre(HasSubstr("1 stream")));
}

TEST_F(LoggerCheckTest, SameFileTwiceIsAWarning) {
  EXPECT_THAT(Check("Outlook 15 File C:\\Logs\\mail\nOutlook 8 File C:\\Logs\\mail\n"),
              ElementsAre(HasSubstr("1 stream"), HasSubstr("2 stream"),
                          "! the same file as in line 1: it gets each line twice"));
  EXPECT_THAT(Check("Outlook 15 File C:\\Logs\\mail\nOther 8 File C:\\Logs\\mail\n"),
              ElementsAre(HasSubstr("1 stream"), HasSubstr("2 stream")));
}

TEST_F(LoggerCheckTest, PortThatDoesNotFitIsAWarning) {
  EXPECT_THAT(Check("Outlook 1 UDP 10.0.0.1:70000\n"),
              ElementsAre("1 stream Outlook: Info to datagrams to 10.0.0.1, port 4464",
                          "! the port 70000 is not in 1 to 65535: the add-in uses 4464"));
}

TEST_F(LoggerCheckTest, LinesThatEndWithCrAloneAreNamed) {
  Check("Outlook 15 Dbg\rOutlook 8 Dbg\r");
  EXPECT_THAT(m_report.onFile,
              ElementsAre("line 1 has a CR in it: lines have to end with LF or CR LF"));
}

TEST_F(LoggerCheckTest, Utf16IsNamed) {
  Check(std::string("\xFF\xFEO\0u\0t\0", 8));
  EXPECT_THAT(
      m_report.onFile,
      testing::Contains("the file is UTF-16; the add-in reads 8-bit text: save it as UTF-8"));
}

TEST_F(LoggerCheckTest, AddressesThatReachNobodyAreWarnings) {
  EXPECT_THAT(Check("Outlook 1 UDP loghost:514\nOutlook 1 UDP 10.0.0.256\n"
                    "Outlook 1 UDP 10.0.0.1:\nOutlook 1 UDP ::1:514\n"),
              ElementsAre("1 stream Outlook: Info to datagrams to loghost, port 514",
                          "! \"loghost\" is no dotted IPv4 address: the add-in sends nothing to "
                          "names or IPv6 addresses",
                          "2 stream Outlook: Info to datagrams to 10.0.0.256, port 514",
                          "! \"10.0.0.256\" is no dotted IPv4 address: the add-in sends nothing to "
                          "names or IPv6 addresses",
                          "3 stream Outlook: Info to datagrams to 10.0.0.1, port 0",
                          "! the port is 0, which can't receive anything",
                          "4 stream Outlook: Info to datagrams to ::1, port 514",
                          "! \"::1\" is no dotted IPv4 address: the add-in sends nothing to names "
                          "or IPv6 addresses"));
}

TEST_F(LoggerCheckTest, MaskWithoutAnyLevelMakesAStreamThatStaysEmpty) {
  EXPECT_THAT(Check("Outlook 16 Dbg\n"),
              ElementsAre("1 stream Outlook: no level to the debugger",
                          "! the mask \"16\" has none of the levels 1, 2, 4 and 8: the stream "
                          "stays empty"));
}

TEST_F(LoggerCheckTest, EmptyFileMakesNoStreamForTheAddIn) {
  EXPECT_THAT(Check(""), IsEmpty());
  EXPECT_THAT(m_report.onFile,
              ElementsAre("no line makes a stream for \"Outlook\": the add-in logs nothing"));
  EXPECT_FALSE(m_report.IsClean());
}

TEST_F(LoggerCheckTest, NulByteEndsALineAndIsTold) {
  EXPECT_THAT(Check(std::string("Outlook 1 Dbg\0more\nOutlook 2 Dbg\n", 33)),
              ElementsAre("1 stream Outlook: Info to the debugger",
                          "2 stream Outlook: Warn to the debugger"));
  EXPECT_THAT(m_report.onFile,
              ElementsAre("line 1 has a NUL byte, which ends it: is this a text file?"));
}

TEST_F(LoggerCheckTest, MissingFileIsNotOpened) {
  EXPECT_FALSE(CheckLoggerConfig(
                   m_folder.Entry("none"), [](const LoggerLine&) {}, false)
                   .opened);
}

}  // namespace
}  // namespace inspection::logs
