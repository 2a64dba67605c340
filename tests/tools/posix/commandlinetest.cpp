// The command line as a user meets it: the real program, real processes, real files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tools/system/childprocess.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct RunResult {
  int status = -1;
  std::string output;
  std::string errors;
};

std::string ReadAll(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

// The mappings of one root; other programs of the machine have theirs beside them. The name begins
// with the root's FNV-1a hash.
std::vector<std::string> SharedFiles(const fs::path& root) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char byte : root.string()) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  char prefix[32];
  std::snprintf(prefix, sizeof prefix, "quorvex-%016llx-", static_cast<unsigned long long>(hash));
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator("/dev/shm")) {
    const std::string name = entry.path().filename();
    if (name.starts_with(prefix)) names.push_back(name);
  }
  return names;
}

class CommandLine : public testing::Test {
 protected:
  CommandLine() {
    fs::create_directories(m_root / "mails");
    fs::copy(fs::path(QUORVEX_SAMPLES) / "root", m_root / "root", fs::copy_options::recursive);
  }
  ~CommandLine() override { fs::remove_all(m_root); }

  RunResult Run(const std::string& arguments) const {
    const fs::path out = m_root / "out";
    const fs::path err = m_root / "err";
    const std::string command = "QUORVEX_ROOT='" + (m_root / "root").string() + "' '" +
                                QUORVEX_PROGRAM + "' " + arguments + " >'" + out.string() +
                                "' 2>'" + err.string() + "' </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(out), ReadAll(err)};
  }

  std::string Write(const std::string& name, const std::string& bytes) const {
    const fs::path path = m_root / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }

  static std::string Sample(const std::string& name) {
    return (fs::path(QUORVEX_SAMPLES) / name).string();
  }

  static std::string Rules() { return "--rules '" + Sample("rules.toml") + "' "; }

  static std::vector<Json> Lines(const std::string& output) {
    std::vector<Json> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) lines.push_back(Json::parse(line));
    return lines;
  }

  const fs::path m_root = fs::temp_directory_path() / ("commandline." + std::to_string(::getpid()));
};

TEST_F(CommandLine, SendShowsEachRequestOfAMailInItsOrderWithWhatTheAgentFound) {
  const RunResult run = Run("send --json " + Rules() + "'" + Sample("02-html-signature.eml") + "'");
  EXPECT_EQ(run.status, 0) << run.errors;
  const auto lines = Lines(run.output);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["outcome"], "sent");
  EXPECT_EQ(lines[0]["action"], 4);
  EXPECT_EQ(lines[0]["cancel"], 0);
  EXPECT_TRUE(lines[0]["tag"].is_null());
  std::vector<int> types;
  for (const Json& request : lines[0]["requests"]) {
    types.push_back(request["type"]);
    EXPECT_EQ(request["answer"], 4);
  }
  EXPECT_THAT(types, ElementsAre(3, 7, 8, 1, 1, 1, 1, 9));
  const Json& requests = lines[0]["requests"];
  EXPECT_EQ(requests[0]["payload"], std::string("ben.ochs@partner.example\0", 25));
  EXPECT_EQ(requests[1]["payload"], "Ada Winter");
  EXPECT_EQ(requests[3]["name"], "ExchangeSubjectContent");
  // sha256 of "Offer 2026-117".
  EXPECT_EQ(requests[3]["content_sha256"],
            "d4ac6d55fc9d7fa267007c80dcce8291000624c49ce5cea5db93768eb4fd9687");
  EXPECT_EQ(requests[3]["content_bytes"], 14);
  EXPECT_EQ(requests[4]["name"], "ExchangeBodyContent");
  // The signature's image lies where the user has it; the attachment is a copy of the same bytes.
  EXPECT_EQ(requests[5]["name"], "");
  EXPECT_THAT(requests[5]["payload"].get<std::string>(), HasSubstr("Work_files\\logo.png"));
  EXPECT_EQ(requests[6]["name"], "logo.png");
  EXPECT_THAT(requests[6]["payload"].get<std::string>(), HasSubstr("OutlookAttachment.1"));
  EXPECT_EQ(requests[5]["content_sha256"], requests[6]["content_sha256"]);
}

TEST_F(CommandLine, BlockedTaggedAndSentMailsSaySoAndTheStatusIsOne) {
  const RunResult run = Run("send --json " + Rules() + "'" + Sample("05-blocked-body.eml") + "' '" +
                            Sample("07-tagged.eml") + "' '" + Sample("01-plain.eml") + "'");
  EXPECT_EQ(run.status, 1) << run.errors;
  const auto lines = Lines(run.output);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0]["outcome"], "blocked");
  EXPECT_EQ(lines[0]["cancel"], 1);
  EXPECT_EQ(lines[0]["action"], 3);
  EXPECT_EQ(lines[1]["outcome"], "tagged");
  EXPECT_EQ(lines[1]["cancel"], 0);
  EXPECT_EQ(lines[1]["action"], 7);
  // Name and value come from the samples' vrk.pro.
  EXPECT_EQ(lines[1]["tag"]["name"], "X-Quorvex-Sensitivity");
  EXPECT_EQ(lines[1]["tag"]["value"], "confidential, internal use");
  EXPECT_EQ(lines[2]["outcome"], "sent");
}

TEST_F(CommandLine, AnUnreadableMailHasItsOwnLineTheOthersGoOnAndTheStatusIsTwo) {
  const std::string text = Write("mails/text.eml", "not a mail at all\n");
  const RunResult run =
      Run("send --json '" + text + "' missing.eml '" + Sample("01-plain.eml") + "'");
  EXPECT_EQ(run.status, 2);
  const auto lines = Lines(run.output);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], Json({{"mail", text},
                            {"error", "it is not a mail: it doesn't begin with a header line"}}));
  EXPECT_EQ(lines[1], Json({{"mail", "missing.eml"}, {"error", "No such file or directory"}}));
  EXPECT_EQ(lines[2]["outcome"], "sent");
}

TEST_F(CommandLine, EveryMailOfAMailboxAFolderAndAListIsSent) {
  const std::string line = "From a@x.test Mon May  2 16:07:05 2005\n";
  const std::string mailbox =
      Write("two.mbox", line + "To: a@x.test\nSubject: 1\n\none\n\n" + line + "no header\n");
  const std::string first = Write("in/1.eml", "To: a@x.test\n\nbody\n");
  const std::string second = Write("in/deep/2.eml", "To: b@x.test\n\nbody\n");
  const std::string list = Write("list", second + "\n");
  const RunResult run = Run("send --json '" + mailbox + "' '" + (m_root / "in").string() +
                            "' --files-from '" + list + "'");
  EXPECT_EQ(run.status, 2);
  std::vector<std::string> mails;
  for (const Json& mail : Lines(run.output)) {
    mails.push_back(mail["mail"].get<std::string>() + (mail.contains("error") ? " error" : ""));
  }
  EXPECT_THAT(mails, ElementsAre(mailbox + "#1", mailbox + "#2 error", first, second, second));
}

TEST_F(CommandLine, AMissingListIsWrongUsage) {
  const RunResult run = Run("send --files-from missing.txt");
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.errors, HasSubstr("missing.txt: No such file or directory"));
}

TEST_F(CommandLine, MissingRulesAreWrongUsage) {
  const std::vector<std::string> commands = {
      "send --rules missing.toml '" + Sample("01-plain.eml") + "'", "agent --rules missing.toml"};
  for (const std::string& command : commands) {
    const RunResult run = Run(command);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.errors, HasSubstr("missing.toml: No such file or directory\n"));
  }
}

TEST_F(CommandLine, WithoutRulesEverythingGoesOn) {
  const RunResult run = Run("send '" + Sample("05-blocked-body.eml") + "'");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(
      run.output,
      HasSubstr("\n1 mail: 1 sent, 0 blocked, 0 tagged; 1 checked, 0 in part, 0 unchecked\n"));
  EXPECT_THAT(run.output, Not(HasSubstr("\x1b")));  // no colour for a file
}

TEST_F(CommandLine, AMistakeInTheRulesIsToldWithItsPlaceAndNothingIsStarted) {
  const std::string rules = Write("bad.toml", "[[rule]]\nsubject = 'x'\nanswer = \"blokc\"\n");
  const RunResult run = Run("send --rules '" + rules + "' '" + Sample("01-plain.eml") + "'");
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.errors, HasSubstr(rules + ":3:"));
  EXPECT_THAT(run.output, IsEmpty());
}

TEST_F(CommandLine, WithNoAgentTheMailGoesAndTheOutputSaysSo) {
  const RunResult run = Run("send --agent '" + Sample("05-blocked-body.eml") + "'");
  EXPECT_EQ(run.status, 4);
  EXPECT_THAT(run.output, HasSubstr(": unchecked\n  because no agent was running (recipients,"));
  EXPECT_THAT(run.output, HasSubstr("; 0 checked, 0 in part, 1 unchecked\n"));
  const RunResult json = Run("send --agent --json '" + Sample("05-blocked-body.eml") + "'");
  EXPECT_EQ(json.status, 4);
  const auto lines = Lines(json.output);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["outcome"], "sent");
  EXPECT_EQ(lines[0]["action"], 2);
  EXPECT_EQ(lines[0]["checked"], "no");
  EXPECT_EQ(lines[0]["reasons"], Json::array({"no agent was running"}));
  EXPECT_EQ(lines[0]["requests"][0]["end"], "no agent");
}

// Each of these agents lets every mail go without checking it.
TEST_F(CommandLine, AnAgentThatDoesNotCheckDoesNotGiveAnAllClear) {
  const std::string mail = "'" + Sample("01-plain.eml") + "'";
  const std::vector<std::vector<std::string>> cases = {
      {"[[fault]]\ndo = \"silent\"\n", "no", "the agent didn't answer in time"},
      {"[[fault]]\nanswer = 6\n", "no", "the agent's answer wasn't 3, 4 or 7"},
      {"[[fault]]\ndo = \"silent\"\nstage = \"body\"\n", "part",
       "the agent didn't answer in time"}};
  for (const auto& one : cases) {
    const std::string rules = Write("bad.toml", one[0]);
    const RunResult run = Run("send --json --rules '" + rules + "' " + mail);
    EXPECT_EQ(run.status, 4) << one[0] << run.errors;
    const auto lines = Lines(run.output);
    ASSERT_EQ(lines.size(), 1U) << one[0] << run.errors;
    EXPECT_EQ(lines[0]["checked"], one[1]) << one[0];
    EXPECT_EQ(lines[0]["reasons"], Json::array({one[2]})) << one[0];
  }
}

TEST_F(CommandLine, AMissingTemporaryFolderDoesNotGiveAnAllClear) {
  fs::remove_all(m_root / "root/temp");
  Write("root/temp", "a file where the folder should be");
  const RunResult run = Run("send --json '" + Sample("06-blocked-attachment.eml") + "'");
  EXPECT_EQ(run.status, 4) << run.errors;
  const auto lines = Lines(run.output);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["outcome"], "sent");
  EXPECT_EQ(lines[0]["checked"], "part");
  EXPECT_EQ(lines[0]["reasons"], Json::array({"the file to check can't be found"}));
}

// The agent of examples/ keeps no journal.
TEST_F(CommandLine, AnAgentWithoutAJournalGetsTheSameTable) {
  tools::system::ChildProcess agent;
  std::string error;
  ::setenv("QUORVEX_ROOT", (m_root / "root").c_str(), 1);
  ASSERT_TRUE(agent.Start(QUORVEX_PROGRAM, {"agent", "--quiet", "--no-journal"}, &error)) << error;
  ::unsetenv("QUORVEX_ROOT");
  std::string ready;
  ASSERT_EQ(agent.ReadLine(&ready, 10'000), tools::system::ChildProcess::ReadResult::kLine);
  const RunResult run = Run("send --agent --json '" + Sample("01-plain.eml") + "'");
  EXPECT_EQ(run.status, 0) << run.errors;
  const auto lines = Lines(run.output);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["checked"], "yes");
  std::vector<int> types;
  for (const Json& request : lines[0]["requests"]) {
    types.push_back(request["type"]);
    EXPECT_EQ(request["answer"], 4);
    EXPECT_GE(request["wait_ms"], 20);
    EXPECT_FALSE(request["payload"].is_null());
  }
  EXPECT_THAT(types, ElementsAre(3, 7, 8, 1, 1, 9));
}

TEST_F(CommandLine, TheRuleThatDecidedIsNamed) {
  const RunResult run = Run("send --json " + Rules() + "'" + Sample("05-blocked-body.eml") + "'");
  bool hasRule = false;
  const auto lines = Lines(run.output);
  for (const Json& request : lines.at(0)["requests"]) {
    if (request["answer"] == 3) hasRule = !request["rule"].get<std::string>().empty();
  }
  EXPECT_TRUE(hasRule) << run.output;
}

TEST_F(CommandLine, TwoRunsAtTheSameTimeDoNotDisturbEachOther) {
  RunResult other;
  // Of another folder for its output.
  const fs::path out = m_root / "other";
  std::thread second([&] {
    const std::string command = "QUORVEX_ROOT='" + (m_root / "root").string() + "' '" +
                                QUORVEX_PROGRAM + "' send --json " + Rules() + "'" +
                                Sample("05-blocked-body.eml") + "' >'" + out.string() + "'";
    const int status = std::system(command.c_str());
    other.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  });
  const RunResult run = Run("send --json '" + Sample("01-plain.eml") + "'");
  second.join();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(other.status, 1);
  EXPECT_EQ(Lines(run.output).at(0)["checked"], "yes");
  EXPECT_EQ(Lines(ReadAll(out)).at(0)["outcome"], "blocked");
  EXPECT_THAT(fs::directory_iterator(m_root / "root/temp"), fs::directory_iterator());
}

TEST_F(CommandLine, AReaderThatGoesAwayIsNoSetUpError) {
  std::string mails;
  for (int i = 0; i < 4; ++i) mails += " '" + Sample("01-plain.eml") + "'";
  const fs::path status = m_root / "status";
  const std::string command = "(QUORVEX_ROOT='" + (m_root / "root").string() + "' '" +
                              QUORVEX_PROGRAM + "' send" + mails + "; echo $? >'" +
                              status.string() + "') | head -c 1 >/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadAll(status), "0\n");
}

TEST_F(CommandLine, WrongUsageIsStatusThree) {
  EXPECT_EQ(Run("").status, 3);
  EXPECT_EQ(Run("send").status, 3);
  EXPECT_EQ(Run("send --nonsense x").status, 3);
  EXPECT_EQ(Run("send --agent --rules x y").status, 3);
  EXPECT_EQ(Run("fly").status, 3);
  for (const std::string version : {"abc", "16.", ".16", "", "16.0.0.0.1", "16 0"}) {
    EXPECT_EQ(Run("send --host-version '" + version + "' x.eml").status, 3) << version;
  }
}

TEST_F(CommandLine, HelpShowsExamplesAndIsNoError) {
  for (const std::string command : {"", "send ", "agent ", "import ", "conform ", "ring "}) {
    const RunResult run = Run(command + "--help");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("Example"));
  }
}

TEST_F(CommandLine, HelpFitsIntoEightyColumns) {
  for (const std::string command :
       {"", "send ", "agent ", "import ", "conform ", "ring ", "summary ", "compare ", "config ",
        "config check ", "config keys ", "config show ", "log ", "log check ", "log explain ",
        "log listen "}) {
    std::istringstream help(Run(command + "--help").output);
    for (std::string line; std::getline(help, line);) {
      EXPECT_LE(line.size(), 80u) << command << line;
    }
  }
}

TEST_F(CommandLine, HelpContinuesALongDescriptionInItsColumn) {
  EXPECT_THAT(
      Run("agent --help").output,
      HasSubstr("\n  --take-over                 Continue the ring of an agent that has died. "
                "Never\n                              while it runs\n"));
}

TEST_F(CommandLine, ASettingsFileOfAnyKindStopsNoMail) {
  const std::string profile = "root/windows/system32/zbagent/vrk.pro";
  const std::string logger = "root/windows/system32/Logger.cfg";
  std::string binary;
  for (int i = 0; i < 100000; ++i) binary += static_cast<char>(i * 7);
  for (const std::string& content : {std::string(), binary, std::string(2000000, '=')}) {
    Write(profile, content);
    Write(logger, content);
    EXPECT_EQ(Run("send '" + Sample("07-tagged.eml") + "'").status, 0);
  }
  fs::remove(m_root / profile);
  fs::create_directory(m_root / profile);  // can't be read as a file
  fs::remove(m_root / logger);
  const RunResult run = Run("send --json " + Rules() + "'" + Sample("07-tagged.eml") + "'");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(Lines(run.output).at(0)["tag"],
            Json({{"name", "QV_DLP_TAGGING"}, {"value", "The message is sensitive"}}));
}

TEST_F(CommandLine, TheAddInsOwnLogComesBesideTheMails) {
  const fs::path log = m_root / "addin.log";
  const RunResult run = Run("send --log '" + log.string() + "' '" + Sample("01-plain.eml") + "'");
  EXPECT_EQ(run.status, 0) << run.errors;
  const std::string text = ReadAll(log);
  EXPECT_THAT(text, HasSubstr("Outlook> Info: New Inspector Created.\r\n"));
  EXPECT_THAT(text, HasSubstr("Outlook> Info: ScanSessionEnd returns: 4.\r\n"));
  EXPECT_THAT(text, HasSubstr("Outlook> Info: OnInspectorClose\r\n"));
}

TEST_F(CommandLine, AMailInJsonIsSentLikeItsFile) {
  const fs::path json = m_root / "mail.json";
  ASSERT_EQ(
      Run("import '" + Sample("04-distribution-list.eml") + "' --output '" + json.string() + "'")
          .status,
      0);
  auto fromFile = Lines(Run("send --json '" + Sample("04-distribution-list.eml") + "'").output);
  auto fromJson = Lines(Run("send --json '" + json.string() + "'").output);
  for (auto* const lines : {&fromFile, &fromJson}) {
    for (Json& request : lines->at(0)["requests"]) request.erase("wait_ms");
  }
  EXPECT_EQ(fromJson.at(0)["requests"], fromFile.at(0)["requests"]);
  EXPECT_EQ(fromFile.at(0)["requests"][0]["payload"],
            std::string("ben.ochs@partner.example\0cora.lind@partner.example\0"
                        "dan.moor@supplier.example\0ella.stone@quorvex.example\0",
                        104));
}

TEST_F(CommandLine, CtrlCLeavesNoMappingAndNoFileBehind) {
  const std::string rules = Write("silent.toml", "[[fault]]\ndo = \"silent\"\nstage = \"body\"\n");
  const pid_t child = ::fork();
  if (child == 0) {
    ::setpgid(0, 0);
    ::setenv("QUORVEX_ROOT", (m_root / "root").c_str(), 1);
    if (std::freopen((m_root / "out").c_str(), "w", stdout) == nullptr ||
        std::freopen((m_root / "err").c_str(), "w", stderr) == nullptr) {
      ::_exit(99);
    }
    ::execl(QUORVEX_PROGRAM, "quorvex", "send", "--rules", rules.c_str(),
            Sample("01-plain.eml").c_str(), nullptr);
    ::_exit(99);
  }
  ::setpgid(child, child);
  // Until the body's file lies there and its request is being waited for.
  const fs::path body = m_root / "root/temp/ExchangeBodyContent";
  for (int i = 0; i < 500 && !fs::exists(body); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(fs::exists(body)) << ReadAll(m_root / "err");
  EXPECT_THAT(SharedFiles(m_root / "root"), Contains(EndsWith("VRKEXPIPE")));
  ::kill(-child, SIGINT);  // the whole group, as a terminal does
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_THAT(ReadAll(m_root / "out"),
              HasSubstr("0 mails: 0 sent, 0 blocked, 0 tagged; 0 checked, 0 in part, 0 unchecked; "
                        "interrupted after 0\n"));
  EXPECT_THAT(fs::directory_iterator(m_root / "root/temp"), fs::directory_iterator());
  EXPECT_THAT(SharedFiles(m_root / "root"), IsEmpty());
}

}  // namespace
