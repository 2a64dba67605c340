// `quorvex log listen` as a user runs it: the real program, with the add-in's logger as the sender.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "logging/socketstream.h"
#include "logging/vrklogger.h"
#include "tests/support/temporaryfolder.h"
#include "tools/system/childprocess.h"
#include "tools/system/datagramreceiver.h"

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

class LogListen : public testing::Test {
 protected:
  // Starts it on a free port, through a shell that saves its standard error.
  void Listen(const std::string& options) {
    const std::string command = std::string("exec '") + QUORVEX_PROGRAM + "' log listen --port 0 " +
                                options + " 2>'" + ErrorFile() + "'";
    std::string error;
    ASSERT_TRUE(m_program.Start("/bin/sh", {"-c", command}, &error)) << error;
    const std::string before = "listening on 127.0.0.1:";
    for (int i = 0; i < 2000 && Errors().find(";") == std::string::npos; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_THAT(Errors(), HasSubstr(before));
    m_parameter = "127.0.0.1:" + std::to_string(std::stoi(Errors().substr(before.size())));
    ASSERT_EQ(m_logger.AddStream("Outlook", 15, "UDP", m_parameter.c_str()), 1);
    ASSERT_EQ(m_logger.AddStream("Other", 15, "UDP", m_parameter.c_str()), 1);
  }

  std::string ErrorFile() const { return m_folder.Entry("err"); }
  std::string Errors() const {
    std::ostringstream text;
    text << std::ifstream(ErrorFile(), std::ios::binary).rdbuf();
    return std::move(text).str();
  }

  std::string NextLine() {
    std::string line = "no line came";
    m_program.ReadLine(&line, 20'000);
    return line;
  }
  int Status() {
    int status = -1;
    EXPECT_TRUE(m_program.WaitForEnd(20'000, &status)) << "it doesn't end";
    return status;
  }

  tests::TemporaryFolder m_folder;
  tools::system::ChildProcess m_program;
  std::string m_parameter;
  CVRKLogger m_logger;
};

const std::string kTime = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9] ";
const std::string kSender = "127\\.0\\.0\\.1:[0-9]+ +";

TEST_F(LogListen, ShowsTimeSenderLevelModuleAndText) {
  Listen("--count 3");
  m_logger.Log("Outlook", kLogErr, "Cannot open %s",
               "C:\\Gr\xC3\xB6\xC3\x9F"
               "e");
  m_logger.Log("Other", kLogInfo, "%s", "Body: one\r\ntwo\x1B[2J");
  const std::string longText(1900, 'x');
  m_logger.Log("Outlook", kLogCrit, "%s", longText.c_str());
  EXPECT_THAT(NextLine(), MatchesRegex(kTime + kSender +
                                       "Err  Outlook: Cannot open C:\\\\Gr\xC3\xB6\xC3\x9F"
                                       "e"));
  const std::string second = NextLine();
  EXPECT_THAT(second, MatchesRegex(kTime + kSender + "Info Other: Body: one.* two.*"));
  EXPECT_EQ(second.find('\x1B'), std::string::npos) << "a message can't steer the terminal";
  EXPECT_THAT(NextLine(), MatchesRegex(kTime + kSender + "Crit Outlook: " + longText));
  EXPECT_EQ(Status(), 0);
  EXPECT_THAT(Errors(), HasSubstr("\n3 shown, 0 left out\n"));
}

TEST_F(LogListen, JsonHasOneObjectALine) {
  Listen("--json --count 2");
  m_logger.Log("Outlook", kLogWarn, "bad \xFF byte \"and quotes\"");
  CSocketStream(m_parameter.c_str()).Write("<34>foreign \xC3\xA4\n");
  const Json line = Json::parse(NextLine());
  EXPECT_EQ(line["foreign"], false);
  EXPECT_EQ(line["level"], "Warn");
  EXPECT_EQ(line["module"], "Outlook");
  EXPECT_EQ(line["text"], "bad \xEF\xBF\xBD byte \"and quotes\"");
  EXPECT_THAT(line["sender"].get<std::string>(), HasSubstr("127.0.0.1:"));
  EXPECT_THAT(line["received"].get<std::string>(),
              MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:.*"));
  EXPECT_EQ(line["time"].get<std::string>().size(), 23U);
  EXPECT_FALSE(line["thread"].get<std::string>().empty());
  const Json foreign = Json::parse(NextLine());
  EXPECT_EQ(foreign["foreign"], true);
  EXPECT_EQ(foreign["bytes"], 15);
  EXPECT_EQ(foreign["text"], "<34>foreign \\xC3\\xA4\\x0A");
  EXPECT_EQ(Status(), 0);
}

TEST_F(LogListen, LevelLeavesOutWhatIsLessGrave) {
  Listen("--level WARN --count 2");
  m_logger.Log("Outlook", kLogInfo, "an info");
  CSocketStream(m_parameter.c_str()).Write("foreign");
  m_logger.Log("Outlook", kLogWarn, "a warning");
  m_logger.Log("Outlook", kLogErr, "an error");
  EXPECT_THAT(NextLine(), HasSubstr("Warn Outlook: a warning"));
  EXPECT_THAT(NextLine(), HasSubstr("Err  Outlook: an error"));
  EXPECT_EQ(Status(), 0);
  EXPECT_THAT(Errors(), HasSubstr("\n2 shown, 2 left out\n"));
}

TEST_F(LogListen, ModuleLeavesOutOtherModules) {
  Listen("--module outlook --count 1");
  m_logger.Log("Other", kLogErr, "not this");
  m_logger.Log("Outlook", kLogInfo, "this");
  EXPECT_THAT(NextLine(), HasSubstr("Info Outlook: this"));
  EXPECT_EQ(Status(), 0);
}

TEST_F(LogListen, ForeignDatagramIsShownByteForByte) {
  Listen("--count 1");
  CSocketStream(m_parameter.c_str()).Write("\x1B]0;title\x07 \\ \xFF");
  EXPECT_THAT(NextLine(), testing::EndsWith("foreign  \\x1B]0;title\\x07 \\\\ \\xFF"));
  EXPECT_EQ(Status(), 0);
}

TEST_F(LogListen, CtrlCEndsItCleanly) {
  Listen("");
  m_logger.Log("Outlook", kLogInfo, "seen");
  EXPECT_THAT(NextLine(), HasSubstr("Info Outlook: seen"));
  m_program.Interrupt();
  EXPECT_EQ(Status(), 0);
  EXPECT_THAT(Errors(), HasSubstr("\n1 shown, 0 left out\n"));
}

TEST_F(LogListen, BusyPortAndWrongArgumentsAreSetUpErrors) {
  const tools::system::DatagramReceiver other("127.0.0.1", 0);
  const std::string port = std::to_string(other.Port());
  const auto statusOf = [this](const std::string& options) {
    const std::string command = std::string("'") + QUORVEX_PROGRAM + "' log listen " + options +
                                " >/dev/null 2>'" + ErrorFile() + "'";
    return WEXITSTATUS(std::system(command.c_str()));
  };
  EXPECT_EQ(statusOf("--port " + port), 3);
  EXPECT_EQ(Errors(),
            "quorvex log listen: 127.0.0.1:" + port + ": another program uses this port\n");
  // An address reserved for examples, which no machine has. (Wine binds to it anyway.)
  EXPECT_EQ(statusOf("--port 0 --address 192.0.2.1"), 3);
  EXPECT_EQ(Errors(), "quorvex log listen: 192.0.2.1:0: this machine has no such address\n");
  for (const char* options : {"--port 65536", "--port -1", "--port x", "--level loud", "--count 0",
                              "--count x", "--address localhost", "extra"}) {
    EXPECT_EQ(statusOf(options), 3) << options;
    EXPECT_THAT(Errors(), HasSubstr("quorvex")) << options;
  }
}

}  // namespace
