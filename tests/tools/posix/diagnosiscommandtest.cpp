// `quorvex config` and `quorvex log` as a user meets them: the real program on real files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/temporaryfolder.h"

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct DiagnosisRun {
  int status = -1;
  std::string output;
  std::string errors;
};

class DiagnosisCommand : public testing::Test {
 protected:
  static std::string ReadAll(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return std::move(text).str();
  }

  // In the folder of the files, so that messages show their bare names.
  DiagnosisRun Run(const std::string& arguments) const {
    const std::string command = "exec </dev/null; cd '" + m_folder.Path().string() + "' && '" +
                                QUORVEX_PROGRAM + "' " + arguments + " >out 2>err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(m_folder.Entry("out")),
            ReadAll(m_folder.Entry("err"))};
  }

  // On a terminal of that width, which joins output and errors.
  std::string RunOnTerminal(unsigned short columns, const std::string& arguments) const {
    winsize size = {};
    size.ws_col = columns;
    size.ws_row = 24;
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
      const std::string command =
          "cd '" + m_folder.Path().string() + "' && exec '" + QUORVEX_PROGRAM + "' " + arguments;
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    std::string output;
    char piece[4096];
    for (ssize_t count; (count = read(terminal, piece, sizeof(piece))) > 0;) {
      output.append(piece, static_cast<std::size_t>(count));
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    std::erase(output, '\r');
    return output;
  }

  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(m_folder.Entry(name), std::ios::binary) << bytes;
  }

  static void ExpectPlainAndNarrow(const std::string& text) {
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  }

  tests::TemporaryFolder m_folder;
};

TEST_F(DiagnosisCommand, KeysListsAllSettings) {
  const DiagnosisRun plain = Run("config keys");
  EXPECT_EQ(plain.status, 0);
  EXPECT_THAT(
      plain.output,
      HasSubstr("\nseconds_to_remember_inputs                 0 to 3600 (seconds); how long "
                "the user's inputs are remembered\n"));
  EXPECT_EQ(std::count(plain.output.begin(), plain.output.end(), '\n'), 81);
  const Json keys = Json::parse(Run("config keys --json").output);
  EXPECT_EQ(keys.size(), 81u);
  std::vector<std::string> read;
  for (const Json& key : keys) {
    if (key["read_by_addin"]) read.push_back(key["key"]);
  }
  EXPECT_THAT(read, testing::ElementsAre("x_name", "x_value", "use_challenge_response"));
  EXPECT_EQ(keys[80]["default"], "false");
  EXPECT_EQ(keys[3]["unit"], "seconds");
  EXPECT_EQ(keys[3]["default"], nullptr);
}

TEST_F(DiagnosisCommand, ShowTellsOneSettingWithExamples) {
  const DiagnosisRun run = Run("config show dialogs_timeout");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "Key           dialogs_timeout\n"
            "Internal key  DLOG_TIMEOUT\n"
            "Meaning       how long a dialog waits for the user\n"
            "Read by       the agent\n"
            "Accepted      5 to 180\n"
            "Unit          not stated\n"
            "Default       the agent's own\n"
            "  matches     5\n"
            "  matches     180\n"
            "  doesn't     4\n"
            "  doesn't     181\n"
            "Pattern       ^\\s*(?:180|1[0-7]\\d|[1-9]\\d|[5-9])\\s*$\n");
  EXPECT_EQ(Run("config show DLOG_TIMEOUT").output, run.output);
  EXPECT_EQ(Json::parse(Run("config show --json x_name").output)["internal"], "X_NAME");
  EXPECT_THAT(Run("config show x_value").output, HasSubstr("\nRead by       the add-in\n"));
  EXPECT_THAT(Run("config show x_value").output,
              HasSubstr("\nDefault       The message is sensitive\n"));
  EXPECT_THAT(Run("config show use_challenge_response").output,
              HasSubstr("\nDefault       false\n"));
}

TEST_F(DiagnosisCommand, ShowOfAnUnknownKeySuggestsOne) {
  const DiagnosisRun run = Run("config show hide_m");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.errors, "quorvex config show: unknown key \"hide_m\"; did you mean \"hide_me\"?\n");
}

TEST_F(DiagnosisCommand, ConfigCheckTellsFileLineKeyAndWhatIsAccepted) {
  Write("vrk.pro", "hide_me=true\r\ndialogs_timeout = 4\r\n");
  const DiagnosisRun run = Run("config check vrk.pro");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output,
            "vrk.pro:2: error: dialogs_timeout = 4: not accepted; accepted is: 5 to 180\n"
            "vrk.pro: 2 known settings in 2 lines, see above\n");
  const Json json = Json::parse(Run("config check --json vrk.pro").output);
  EXPECT_EQ(json["clean"], false);
  EXPECT_EQ(json["findings"][0]["line"], 2);
  EXPECT_EQ(json["findings"][0]["key"], "dialogs_timeout");
  EXPECT_EQ(json["findings"][0]["value"], "4");
}

TEST_F(DiagnosisCommand, ConfigCheckOfAGoodFileIsClean) {
  Write("vrk.pro", "hide_me=true\n");
  const DiagnosisRun run = Run("config check vrk.pro");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "vrk.pro: 1 known setting in 1 line, nothing to fix\n");
}

TEST_F(DiagnosisCommand, FilesThatAreNotThereAreSetUpErrors) {
  for (const std::string command : {"config check", "log check", "log explain"}) {
    const DiagnosisRun run = Run(command + " none");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.errors, "quorvex " + command + ": none: No such file or directory\n");
    EXPECT_THAT(run.output, IsEmpty());
    EXPECT_EQ(Run(command + " .").errors, "quorvex " + command + ": .: Is a directory\n");
    EXPECT_EQ(Run(command).status, 3);
  }
}

TEST_F(DiagnosisCommand, EndlessAndHugeFilesAreRefusedAtOnce) {
  Write("huge", "");
  std::filesystem::resize_file(m_folder.Entry("huge"), std::uintmax_t{1} << 40);
  for (const std::string command : {"config check", "log check"}) {
    EXPECT_EQ(Run(command + " /dev/zero").errors,
              "quorvex " + command + ": /dev/zero: this is a device or a pipe, not a file\n");
    EXPECT_EQ(Run(command + " huge").errors,
              "quorvex " + command + ": huge: too large for a settings file\n");
    EXPECT_EQ(Run(command + " huge").status, 3);
    std::filesystem::resize_file(m_folder.Entry("huge"), (std::uintmax_t{1} << 20) + 1);
    EXPECT_EQ(Run(command + " huge").status, 3);
    std::filesystem::resize_file(m_folder.Entry("huge"), std::uintmax_t{1} << 40);
  }
}

TEST_F(DiagnosisCommand, LogCheckTellsEachLine) {
  Write("Logger.cfg", "Outlook 15 Dbg\nOutlook 0 Dbg\n");
  const DiagnosisRun run = Run("log check Logger.cfg");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output,
            "Logger.cfg:1: stream: Outlook: Info, Warn, Err, Crit to the debugger\n"
            "Logger.cfg:2: refused: Outlook: the mask \"0\" takes no level\n"
            "Logger.cfg: 1 stream, 1 of them for \"Outlook\"; 1 line refused, 0 warnings\n");
  const Json json = Json::parse(Run("log check --json Logger.cfg").output);
  EXPECT_EQ(json["lines"][1]["kind"], "refused");
  EXPECT_EQ(json["outlook_streams"], 1);
}

// For `grep` and for scripts.
TEST_F(DiagnosisCommand, FindingsStayOneLineWhereTheOutputIsNoTerminal) {
  const std::string name = "a-file-of-settings-with-a-name-of-some-length";
  Write(name, "Outlook 15 File mail.log\n");
  EXPECT_THAT(
      Run("log check " + name).output,
      testing::StartsWith(name + ":1: stream: Outlook: Info, Warn, Err, Crit to the files "));
  Write(name, "x_name = X Sensitivity\n");
  EXPECT_EQ(Run("config check " + name).output,
            name +
                ":1: error: x_name = X Sensitivity: not accepted; accepted is: 1 to 50 printable "
                "ASCII characters, no white space and no colon\n" +
                name + ": 1 known setting in 1 line, see above\n");
}

TEST_F(DiagnosisCommand, FindingsAreWrappedToTheTerminalsWidth) {
  Write("vrk.pro", "x_name = X Sensitivity\n");
  EXPECT_EQ(RunOnTerminal(80, "config check vrk.pro"),
            "vrk.pro:1: error: x_name = X Sensitivity: not accepted; accepted is: 1 to 50\n"
            "    printable ASCII characters, no white space and no colon\n"
            "vrk.pro: 1 known setting in 1 line, see above\n");
  EXPECT_EQ(
      RunOnTerminal(200, "config check vrk.pro"),
      "vrk.pro:1: error: x_name = X Sensitivity: not accepted; accepted is: 1 to 50 printable "
      "ASCII characters, no white space and no colon\n"
      "vrk.pro: 1 known setting in 1 line, see above\n");
  Write("Logger.cfg", "Outlook 0xF Dbg\n");
  EXPECT_THAT(RunOnTerminal(40, "log check Logger.cfg"),
              testing::StartsWith("Logger.cfg:1: refused: Outlook: the mask\n"
                                  "    \"0xF\" is not a number; it is a sum\n"));
}

TEST_F(DiagnosisCommand, SoAreTheFindingsOfRingAndDoctor) {
  const std::string ring = "ring " QUORVEX_SAMPLES "/../docs/examples/stalled.ring";
  EXPECT_THAT(Run(ring).output, HasSubstr("\n  note   the entry at offset 0 is complete and waits: "
                                          "if it stays, the consumer has stalled\n"));
  EXPECT_THAT(RunOnTerminal(40, ring), HasSubstr("\n  note   the entry at offset 0 is\n"
                                                 "         complete and waits: if it\n"
                                                 "         stays, the consumer has stalled\n"));
  const std::string doctor = "doctor " QUORVEX_SAMPLES "/../docs/examples/pc17.json";
  const std::string remedy =
      "  remedy     set it to 3, or delete the user's value so that the machine's counts; remove "
      "the other findings first\n";
  EXPECT_THAT(Run(doctor).output, HasSubstr(remedy));
  EXPECT_THAT(RunOnTerminal(200, doctor), HasSubstr(remedy));
  EXPECT_THAT(RunOnTerminal(60, doctor),
              HasSubstr("  remedy     set it to 3, or delete the user's value so that\n"
                        "             the machine's counts; remove the other findings\n"
                        "             first\n"));
}

// conform sends mails while it prints its own results.
TEST_F(DiagnosisCommand, SendShowsItsProgressOnATerminalUnlessItIsToldNotTo) {
  const std::string mail = " --fast --summary " QUORVEX_SAMPLES "/01-plain.eml";
  EXPECT_THAT(RunOnTerminal(80, "send" + mail), HasSubstr("\x1b[K"));
  EXPECT_EQ(RunOnTerminal(80, "send --no-progress" + mail), Run("send" + mail).output);
}

TEST_F(DiagnosisCommand, LogExplainReadsARingInTheOrderOfTime) {
  const std::string later = "(00001) 01/01/2027 00:00:00.000 Outlook> Info: ";
  const std::string earlier = "(00001) 12/31/2026 23:59:59.999 Outlook> Info: ";
  Write("a_0.log", later + "CheckContent: cannot initialize shared memory!\r\n" + later +
                       "CheckRecipients returns: 1.\r\n" + later +
                       "ScanSessionEnd returns: 1.\r\nforeign\r\n");
  Write("a_1.log", earlier +
                       "MailItem 0x0000000000000001 is not checked, continue CheckMail ... "
                       "\r\n");
  const DiagnosisRun run = Run("log explain a_0.log a_1.log");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.output,
            "12/31/2026 23:59:59.999 thread 00001 0x0000000000000001\n"
            "  window   not in this log\n"
            "  asked    recipients    answer   -,    0 polls left,      0 ms  no agent\n"
            "  verdict  sent, unchecked\n"
            "  because  no agent was running (recipients)\n"
            "\n"
            "1 mail: 0 checked, 0 in part, 1 unchecked, 0 unknown; 5 lines, 1 foreign\n");
  ExpectPlainAndNarrow(run.output);
  const Json json = Json::parse(Run("log explain --json a_0.log a_1.log").output);
  EXPECT_EQ(json["reasons"], Json::array({"no agent was running"}));
  EXPECT_EQ(json["requests"][0]["end"], "no agent");
}

// A mail whose every part was answered with 4.
std::string CheckedMail(const std::string& time, const std::string& subject) {
  std::string log;
  for (const std::string& message :
       {std::string("MailItem 0x01 is not checked, continue CheckMail ... "),
        std::string("Get AddressEntry address: ben@partner.example"),
        std::string("CheckContent: lActionCode=4 iTimeOut=124"),
        std::string("CheckRecipients returns: 4."), "Mail subject: [" + subject + "]",
        std::string("CheckSubject returns: 1."), std::string("ScanSessionEnd returns: 4.")}) {
    log += "(00001) " + time + " Outlook> Info: " + message + "\r\n";
  }
  return log;
}

TEST_F(DiagnosisCommand, LogExplainNeverTakesWhatItCannotReadForAnAllClear) {
  Write("other.log", "2026-11-21 something else\n\xFF\xFE\n");
  const DiagnosisRun other = Run("log explain other.log");
  EXPECT_EQ(other.status, 4);
  EXPECT_EQ(other.output, "");
  EXPECT_EQ(other.errors, "quorvex log explain: none of 2 lines is a line of the add-in's log\n");
  EXPECT_EQ(Run("log explain - </dev/null").status, 4);
  Write("daily.log",
        "(00001) 11/21/2026 01:47:41.928 Outlook> Err : [DlpMailEvent::CheckEmail] Get "
        "key_challenge_response = false @dlpmailevent.cpp(731)\r\n");
  const DiagnosisRun daily = Run("log explain daily.log");
  EXPECT_EQ(daily.status, 4);
  EXPECT_THAT(daily.output, HasSubstr("\nthe log has no Info lines; it can't tell which mails were "
                                      "checked\n1 mail: 0 checked, 0 in part, 0 unchecked, 1 "
                                      "unknown; 1 line, 0 foreign\n"));
  EXPECT_EQ(Json::parse(Run("log explain --json daily.log").output)["checked"], "unknown");
}

TEST_F(DiagnosisCommand, LogExplainSelectsMails) {
  Write("mail.log", CheckedMail("11/20/2026 08:00:00.000", "Offer") +
                        CheckedMail("11/21/2026 09:30:00.000", "Plan"));
  const auto subjects = [this](const std::string& options) {
    std::istringstream lines(Run("log explain --json " + options + " mail.log").output);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
      all += Json::parse(line)["subject"].get<std::string>() + " ";
    }
    return all;
  };
  EXPECT_EQ(subjects(""), "Offer Plan ");
  EXPECT_EQ(subjects("--subject offe"), "Offer ");
  EXPECT_EQ(subjects("--recipient PARTNER"), "Offer Plan ");
  EXPECT_EQ(subjects("--recipient nobody"), "");
  EXPECT_EQ(subjects("--since 2026-11-21"), "Plan ");
  EXPECT_EQ(subjects("--until 2026-11-20"), "Offer ");
  EXPECT_EQ(subjects("--since 2026-11-21T09:30 --until '2026-11-21 09:30'"), "Plan ");
  EXPECT_EQ(subjects("--blocked"), "");
  EXPECT_EQ(subjects("--unchecked"), "");
  EXPECT_EQ(Run("log explain --since yesterday mail.log").status, 3);
}

TEST_F(DiagnosisCommand, LogExplainCountsTheSameLogOnce) {
  const std::string log = CheckedMail("11/20/2026 08:00:00.000", "Offer");
  Write("a.log", log);
  Write("b.log", log + CheckedMail("11/21/2026 08:00:00.000", "Plan"));
  const DiagnosisRun run = Run("log explain a.log a.log b.log");
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("2 mails: 2 checked"));
  EXPECT_THAT(run.errors, HasSubstr("the same log as"));
}

TEST_F(DiagnosisCommand, LogExplainAddsUpPerMachineAndDay) {
  Write("mail.PC17_0.log", CheckedMail("11/20/2026 08:00:00.000", "Offer") +
                               CheckedMail("11/21/2026 08:00:00.000", "Plan"));
  const DiagnosisRun run = Run("log explain --stats mail.PC17_0.log");
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("\nPC17            2026-11-20       1       1      0      0   "
                                    "    0    40     40     40\n"));
  EXPECT_THAT(run.output, HasSubstr("\nall                              2       2      0      0"));
  std::istringstream lines(Run("log explain --stats --json mail.PC17_0.log").output);
  std::string first;
  std::getline(lines, first);
  EXPECT_EQ(Json::parse(first)["machine"], "PC17");
  EXPECT_EQ(Json::parse(first)["checked"]["yes"], 1);
  EXPECT_EQ(Json::parse(first)["wait_ms"]["p95"], 40);
}

TEST_F(DiagnosisCommand, LogExplainReadsStandardInput) {
  Write("mail.log", CheckedMail("11/20/2026 08:00:00.000", "Offer"));
  const DiagnosisRun run = Run("log explain --json - <mail.log");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(Json::parse(run.output)["subject"], "Offer");
}

TEST_F(DiagnosisCommand, HelpShowsExamplesAndFitsATerminal) {
  for (const std::string command :
       {"config keys", "config show", "config check", "log check", "log explain"}) {
    const DiagnosisRun run = Run(command + " --help");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("Examples:\n  quorvex " + command));
    ExpectPlainAndNarrow(run.output);
  }
}

}  // namespace
