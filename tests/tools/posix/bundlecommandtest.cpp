// `quorvex doctor` and `quorvex bundle` as a user meets them: the real program on real files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <string>

#include "inspection/bundle/zipfile.h"
#include "tests/inspection/doctor/healthymachine.h"
#include "tests/support/temporaryfolder.h"

namespace {

using inspection::bundle::ZipEntry;
using testing::HasSubstr;
using testing::Not;

struct BundleRun {
  int status = -1;
  std::string output;
  std::string errors;
};

class BundleCommandTest : public testing::Test {
 protected:
  static std::string ReadAll(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string Read(const std::string& name) const { return ReadAll(m_folder.Path() / name); }
  void Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(m_folder.Path() / name, std::ios::binary) << bytes;
  }

  BundleRun Run(const std::string& arguments) const {
    const std::string command = "exec </dev/null; cd '" + m_folder.Path().string() +
                                "' && QUORVEX_ROOT=root '" + QUORVEX_PROGRAM + "' " + arguments +
                                " >out 2>err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read("out"), Read("err")};
  }

  std::vector<ZipEntry> Entries(const std::string& name) const {
    std::vector<ZipEntry> entries;
    std::string error;
    EXPECT_TRUE(inspection::bundle::ReadZip(Read(name), &entries, &error)) << error;
    return entries;
  }
  std::string Entry(const std::string& bundle, const std::string& name) const {
    for (const ZipEntry& entry : Entries(bundle)) {
      if (entry.name == name) return entry.bytes;
    }
    ADD_FAILURE() << "no entry " << name;
    return {};
  }

  tests::TemporaryFolder m_folder;
};

std::set<std::string> WordsOf(const std::string& text, const char* form) {
  const std::regex word(form);
  std::set<std::string> words;
  for (std::sregex_iterator i(text.begin(), text.end(), word), end; i != end; ++i) {
    words.insert(i->str());
  }
  return words;
}

// All samples are sent with a log; nothing of them may be in the bundle of that log.
TEST_F(BundleCommandTest, HasNoAddressAndNoWordOfTheSamples) {
  std::filesystem::copy(std::filesystem::path(QUORVEX_SAMPLES) / "root", m_folder.Path() / "root",
                        std::filesystem::copy_options::recursive);
  const std::string samples = QUORVEX_SAMPLES;
  Run("send --log - --rules '" + samples + "/rules.toml' '" + samples + "'/*.eml");
  const std::string log = Read("out") + Read("err");
  Write("mail.PC17_0.log", log);
  const auto addresses = WordsOf(log, "[A-Za-z0-9.]+@[A-Za-z0-9.]+[a-z]");
  EXPECT_GE(addresses.size(), 5u);

  const BundleRun run = Run("bundle b.zip --log mail.PC17_0.log");
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("none of them found in the bundle"));
  const std::string redacted = Entry("b.zip", "logs/mail.PC17_0.log");
  std::string all;
  for (const ZipEntry& entry : Entries("b.zip")) all += entry.name + "\n" + entry.bytes;
  for (const std::string& address : addresses) {
    EXPECT_THAT(all, Not(HasSubstr(address)));
    EXPECT_THAT(all, Not(HasSubstr(address.substr(address.find('@') + 1))));
  }
  // The words of subjects and bodies, except those that the add-in's own messages have too.
  std::string texts;
  std::string own;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    const bool isText = line.find(": Body: ") != std::string::npos ||
                        line.find(": Mail subject: [") != std::string::npos ||
                        line.find(": Sender: ") != std::string::npos ||
                        line.find("Outlook> ") == std::string::npos;
    (isText ? texts : own) += line + "\n";
  }
  std::size_t searched = 0;
  const auto kept =
      WordsOf(own + " Body Mail subject Sender body name text window", "[A-Za-z]{4,}");
  for (const std::string& word : WordsOf(texts, "[A-Za-z]{4,}")) {
    if (kept.contains(word) || word == "Outlook" || word == "Info") continue;
    ++searched;
    EXPECT_FALSE(WordsOf(redacted, "[A-Za-z]{4,}").contains(word)) << word;
  }
  EXPECT_GE(searched, 20u);
}

TEST_F(BundleCommandTest, TheLogTellsTheSameStoriesWithTokens) {
  const std::string log = std::string(QUORVEX_SAMPLES) + "/../docs/examples/mail.PC17_0.log";
  ASSERT_EQ(Run("bundle b.zip --log '" + log + "'").status, 0);
  const auto stories = [this](const std::string& arguments) {
    std::istringstream lines(Run("log explain --json " + arguments).output);
    std::vector<nlohmann::json> mails;
    for (std::string line; std::getline(lines, line);) mails.push_back(nlohmann::json::parse(line));
    return mails;
  };
  auto before = stories("'" + log + "'");
  auto after = stories("b.zip");
  ASSERT_EQ(before.size(), 4u);
  ASSERT_EQ(after.size(), 4u);
  EXPECT_EQ(before[0]["subject"], "Three files");
  EXPECT_EQ(after[0]["subject"], "subject-1");
  for (std::size_t i = 0; i < 4; ++i) {
    for (const char* const field : {"outcome", "checked", "reasons", "machine", "requests"}) {
      EXPECT_EQ(before[i][field], after[i][field]) << field;
    }
  }
  EXPECT_THAT(Run("log explain b.zip").output, HasSubstr("address-1@domain-1"));
}

TEST_F(BundleCommandTest, KeepsDomainsOrEverythingOnRequest) {
  const std::string line = "(1) 11/21/2026 01:47:41.928 Outlook> Info: ";
  Write("m.log", line + "Get AddressEntry address: ada@a.example\r\n" + line + "Sender: Ada\r\n");
  ASSERT_EQ(Run("bundle b.zip --log m.log --keep-domains").status, 0);
  EXPECT_EQ(
      Entry("b.zip", "logs/m.log"),
      line + "Get AddressEntry address: address-1@a.example\r\n" + line + "Sender: name-1\r\n");
  const BundleRun run = Run("bundle b.zip --log m.log --with-content");
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("nothing was replaced"));
  EXPECT_EQ(Entry("b.zip", "logs/m.log"), Read("m.log"));
}

TEST_F(BundleCommandTest, TakesOnlyWhatWasLoggedSince) {
  const auto line = [](const std::string& day, const std::string& message) {
    return "(1) 11/" + day + "/2026 01:47:41.928 Outlook> Info: " + message + "\r\n";
  };
  Write("m.log", line("20", "OnInspectorClose") + "rest of a line\r\n" +
                     line("21", "Initialize success") + line("22", "OnInspectorClose"));
  ASSERT_EQ(Run("bundle b.zip --log m.log --since 2026-11-21").status, 0);
  EXPECT_EQ(Entry("b.zip", "logs/m.log"),
            line("21", "Initialize success") + line("22", "OnInspectorClose"));
  EXPECT_EQ(Run("bundle b.zip --log m.log --since yesterday").status, 3);
}

TEST_F(BundleCommandTest, IsJudgedByDoctor) {
  Write("pc17.json", MachineJson(tests::HealthyMachine()));
  ASSERT_EQ(Run("bundle b.zip --machine pc17.json").status, 0);
  const BundleRun run = Run("doctor b.zip");
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("\nworking\n"));
  EXPECT_EQ(Run("doctor pc17.json").status, 0);
  // The user's name is in the path of the temporary folder.
  EXPECT_THAT(Read("pc17.json"), HasSubstr("\\\\ada\\\\"));
  EXPECT_THAT(Entry("b.zip", "machine.json"), Not(HasSubstr("ada")));
  auto machine = tests::HealthyMachine();
  machine.agent = {};
  Write("pc18.json", MachineJson(machine));
  const BundleRun broken = Run("doctor --json pc18.json");
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(nlohmann::json::parse(broken.output)["findings"][0]["id"], "no-agent");
}

TEST_F(BundleCommandTest, RefusesWhatItCantRead) {
  Write("x.zip", "PK\3\4");
  Write("x.json", "{}");
  EXPECT_EQ(Run("doctor x.zip").status, 3);
  EXPECT_EQ(Run("doctor x.json").status, 3);
  EXPECT_EQ(Run("doctor missing").status, 3);
  EXPECT_EQ(Run("doctor").errors,
            "quorvex doctor: this isn't Windows; give a description or a bundle from there\n");
  EXPECT_EQ(Run("bundle").status, 3);
  EXPECT_EQ(Run("bundle b.zip --log missing").status, 3);
  EXPECT_EQ(Run("bundle no/such/folder/b.zip").status, 3);
  EXPECT_EQ(Run("log explain x.zip").status, 2);
}

TEST_F(BundleCommandTest, HelpFitsEightyColumns) {
  for (const char* const command : {"doctor --help", "bundle --help"}) {
    std::istringstream lines(Run(command).output);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  }
}

}  // namespace
