// The results of `quorvex conform` in its three forms.
#include "tools/conformreport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;

std::vector<Result> OneOfEach() {
  Result measured{.check = "requests-in-a-row", .outcome = CheckOutcome::kPass, .seen = "2 of 2"};
  measured.waits = {.p50 = 1, .p95 = 2.25, .p99 = 3};
  return {measured,
          {.check = "entries-cleared",
           .outcome = CheckOutcome::kFail,
           .cause = "entries are <not> cleared",
           .seen = "offset 304 & more \x01",
           .rule = "Clear \"all\"."},
          {.check = "dead-writer", .seen = "can't be tried"},
          {.check = "restart", .outcome = CheckOutcome::kLeftOut, .seen = "takes --start"}};
}

TEST(ConformReport, TextNamesCauseWhatWasSeenAndTheRule) {
  const std::vector<Result> results = OneOfEach();
  EXPECT_EQ(tools::ConformText(results[0], false, 80),
            "pass         requests-in-a-row\n"
            "             2 of 2\n"
            "             from the push to the answer: 50 % within 1.0 ms, 95 % 2.2, 99 % 3.0\n");
  EXPECT_EQ(tools::ConformText(results[1], false, 80),
            "FAIL         entries-cleared\n"
            "             entries are <not> cleared\n"
            "             offset 304 & more \xEF\xBF\xBD\n"
            "             docs/protocol.md: Clear \"all\".\n");
  EXPECT_EQ(tools::ConformText(results[3], true, 80),
            "\x1b[33mnot checked\x1b[0m  restart\n             takes --start\n");
}

TEST(ConformReport, TotalsCountEachOutcome) {
  EXPECT_EQ(tools::ConformTotals(OneOfEach()), "1 passed, 1 failed, 1 unknown, 1 not checked");
  EXPECT_EQ(tools::ConformTotalsJson(OneOfEach()),
            R"({"passed":1,"failed":1,"unknown":1,"not_checked":1})");
}

TEST(ConformReport, JsonHasCauseAndRuleOfAFailureAndTheWaits) {
  const std::vector<Result> results = OneOfEach();
  EXPECT_EQ(tools::ConformJson(results[0]),
            R"({"check":"requests-in-a-row","outcome":"pass","seen":"2 of 2",)"
            R"("waits_ms":{"50":1,"95":2.25,"99":3}})");
  EXPECT_EQ(tools::ConformJson(results[1]),
            R"({"check":"entries-cleared","outcome":"fail","seen":"offset 304 & more \u0001",)"
            R"("cause":"entries are <not> cleared","rule":"Clear \"all\"."})");
  EXPECT_EQ(tools::ConformJson(results[2]),
            R"({"check":"dead-writer","outcome":"unknown","seen":"can't be tried"})");
  EXPECT_EQ(tools::ConformJson(results[3]),
            R"({"check":"restart","outcome":"not-checked","seen":"takes --start"})");
}

TEST(ConformReport, JUnitMakesUnknownAnErrorAndLeftOutASkip) {
  EXPECT_EQ(tools::ConformJUnit(OneOfEach()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuite name=\"quorvex conform\" tests=\"4\" failures=\"1\" errors=\"1\" "
            "skipped=\"1\">\n"
            "  <testcase classname=\"conform\" name=\"requests-in-a-row\">\n"
            "    <system-out>2 of 2; from the push to the answer: 50 % within 1.0 ms, 95 % 2.2, "
            "99 % 3.0</system-out>\n"
            "  </testcase>\n"
            "  <testcase classname=\"conform\" name=\"entries-cleared\">\n"
            "    <failure message=\"entries are &lt;not&gt; cleared\">offset 304 &amp; more "
            "\xEF\xBF\xBD\n"
            "docs/protocol.md: Clear &quot;all&quot;.</failure>\n"
            "  </testcase>\n"
            "  <testcase classname=\"conform\" name=\"dead-writer\">\n"
            "    <error message=\"can't be tried\"/>\n"
            "  </testcase>\n"
            "  <testcase classname=\"conform\" name=\"restart\">\n"
            "    <skipped message=\"takes --start\"/>\n"
            "  </testcase>\n"
            "</testsuite>\n");
}

}  // namespace
