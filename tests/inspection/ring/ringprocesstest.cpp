// `quorvex ring` and `quorvex conform` with a running agent, each in its own process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "inspection/conformance/conformance.h"
#include "inspection/ring/ringview.h"
#include "tests/simulation/agent/agentprocess.h"

namespace {

using Json = nlohmann::json;
using testing::ElementsAre;

class RingProcess : public tests::AgentProcessTest {
 protected:
  // Runs a subcommand to its end and returns its lines.
  std::vector<std::string> Quorvex(std::vector<std::string> arguments, int* status) {
    tools::system::ChildProcess child;
    std::string error;
    EXPECT_TRUE(child.Start(Program(), arguments, &error)) << error;
    std::vector<std::string> lines;
    for (std::string line;
         child.ReadLine(&line, 120'000) == tools::system::ChildProcess::ReadResult::kLine;) {
      lines.push_back(line);
    }
    *status = -1;
    EXPECT_TRUE(child.WaitForEnd(10'000, status));
    return lines;
  }
};

TEST_F(RingProcess, OurOwnAgentPassesEveryCheckThatIsMade) {
  StartAgent({"--quiet", "--no-journal"});
  int status = -1;
  const std::vector<std::string> lines = Quorvex({"conform", "--json", "--ring", m_ring}, &status);
  EXPECT_EQ(status, 0);
  // All checks, two with whole mails, the expected verdicts, and the totals.
  ASSERT_EQ(lines.size(), inspection::conformance::CheckNames().size() + 4);
  std::vector<std::string> leftOut;
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    const Json line = Json::parse(lines[i]);
    if (line["outcome"] == "not-checked") {
      leftOut.push_back(line["check"]);
    } else {
      EXPECT_EQ(line["outcome"], "pass") << lines[i];
    }
  }
  EXPECT_THAT(leftOut, ElementsAre("expected-verdicts", "cursor-past-2-32", "restart"));
  EXPECT_EQ(Json::parse(lines.back())["failed"], 0);
  EXPECT_EQ(Json::parse(lines.back())["not_checked"], 3);
}

TEST_F(RingProcess, TheLiveRingIsShownAndSaved) {
  StartAgent({"--quiet", "--no-journal"});
  const std::string saved = FilePath("ring.bin");
  int status = -1;
  const std::vector<std::string> expected = {
      m_ring,
      "  capacity           262144",
      "  used bytes              0  [....................] 0.0 % full",
      "  write cursor            0  offset 0",
      "  consumer                0  0 bytes behind the cursor",
      "",
      "  no entries",
      "",
      "  nothing is wrong"};
  EXPECT_EQ(Quorvex({"ring", "--ring", m_ring, "--save", saved}, &status), expected);
  EXPECT_EQ(status, 0);
  std::vector<std::string> again = Quorvex({"ring", saved}, &status);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(again.size(), expected.size());
  EXPECT_EQ(again[0], saved);
  EXPECT_EQ(again[1], expected[1]);
}

TEST_F(RingProcess, StatusesWithoutAnAgentAndWithoutARing) {
  int status = -1;
  EXPECT_THAT(Quorvex({"ring", "--ring", m_ring}, &status), ElementsAre());
  EXPECT_EQ(status, 3);
  EXPECT_THAT(Quorvex({"conform", "--ring", m_ring}, &status), ElementsAre());
  EXPECT_EQ(status, 3);
  EXPECT_THAT(Quorvex({"ring", "--no-such-option"}, &status), ElementsAre());
  EXPECT_EQ(status, 3);
  WriteFile("noise.bin", std::string(100'000, '\x81'));
  EXPECT_THAT(Quorvex({"ring", FilePath("noise.bin"), "--json"}, &status),
              ElementsAre(testing::HasSubstr("not a ring, or one that isn't made yet: its capacity "
                                             "is -2122219135")));
  EXPECT_EQ(status, 2);
  WriteFile("short.bin", "abc");
  EXPECT_THAT(Quorvex({"ring", FilePath("short.bin")}, &status),
              ElementsAre(FilePath("short.bin"), "",
                          "  FAULT  too short for a ring: 3 bytes, and the header alone has 16"));
  EXPECT_EQ(status, 2);
  EXPECT_THAT(Quorvex({"ring", FilePath("nothing.bin")}, &status), ElementsAre());
  EXPECT_EQ(status, 2);
}

}  // namespace
