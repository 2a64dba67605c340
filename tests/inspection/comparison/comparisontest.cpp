// Pairing two runs, what counts as a change, and the sums.

#include "inspection/comparison/comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "inspection/comparison/resultreader.h"
#include "inspection/comparison/totals.h"

namespace {

using inspection::comparison::Change;
using inspection::comparison::Comparison;
using inspection::comparison::Difference;
using inspection::comparison::kOutcomes;
using inspection::comparison::Outcome;
using inspection::comparison::RecordedMail;
using inspection::comparison::ResultReader;
using inspection::comparison::Totals;
using inspection::comparison::Waits;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kBodyBlock =
    R"("requests":[{"type":1,"name":"ExchangeBodyContent","answer":3,"rule":"secret","wait_ms":40}])";
constexpr const char* kCloseTag =
    R"("requests":[{"type":9,"answer":7,"wait_ms":20}],"tag":{"name":"X","value":"y"})";

std::string RecordLine(const std::string& name, const std::string& outcome,
                       const std::string& more = "", const std::string& checked = "yes") {
  return R"({"mail":")" + name + R"(","outcome":")" + outcome + R"(","checked":")" + checked +
         "\"" + (more.empty() ? "" : "," + more) + "}\n";
}

// Compares two texts of lines and keeps each difference's JSON.
struct Compared {
  Compared(const std::string& before, const std::string& after)
      : comparison([this](const Difference& difference) {
          differences.push_back(DifferenceJson(difference));
        }) {
    Read(before, [this](const RecordedMail& mail) { comparison.TakeBefore(mail); });
    Read(after, [this](const RecordedMail& mail) { comparison.TakeAfter(mail); });
    comparison.Finish();
  }
  static void Read(const std::string& lines, ResultReader::Take take) {
    std::istringstream stream(lines);
    std::string error;
    ResultReader reader(std::move(take), true);
    EXPECT_TRUE(reader.Read(stream, "lines", &error)) << error;
    EXPECT_EQ(reader.BadLines(), 0u);
  }
  std::uint64_t Moved(Outcome from, Outcome to) const {
    return comparison.Outcomes()[static_cast<std::size_t>(from)][static_cast<std::size_t>(to)];
  }

  std::vector<std::string> differences;
  Comparison comparison;
};

TEST(Comparison, OfEqualRunsHasNoChange) {
  const std::string run = RecordLine("a", "sent") + RecordLine("b", "blocked", kBodyBlock) +
                          RecordLine("c", "tagged", kCloseTag);
  const Compared compared(run, run);
  EXPECT_THAT(compared.differences, IsEmpty());
  EXPECT_FALSE(compared.comparison.AnyChange());
  EXPECT_EQ(compared.Moved(Outcome::kSent, Outcome::kSent), 1u);
  EXPECT_EQ(compared.Moved(Outcome::kBlocked, Outcome::kBlocked), 1u);
  EXPECT_EQ(compared.Moved(Outcome::kTagged, Outcome::kTagged), 1u);
}

TEST(Comparison, NamesTheRequestAndTheRuleThatChangedAVerdict) {
  const Compared compared(RecordLine("a", "sent"), RecordLine("a", "blocked", kBodyBlock));
  EXPECT_THAT(
      compared.differences,
      ElementsAre(
          R"({"mail":"a","occurrence":1,"change":"verdict",)"
          R"("before":{"outcome":"sent","checked":"yes","tag":"","decided_by":"","reasons":""},)"
          R"("after":{"outcome":"blocked","checked":"yes","tag":"",)"
          R"("decided_by":"body: block, rule \"secret\"","reasons":""},)"
          R"("cause":"no request blocked or tagged it -> body: block, rule \"secret\""})"));
  EXPECT_TRUE(compared.comparison.AnyChange());
  EXPECT_EQ(compared.Moved(Outcome::kSent, Outcome::kBlocked), 1u);
}

TEST(Comparison, PairsByNameWhateverTheOrder) {
  const Compared compared(
      RecordLine("a", "sent") + RecordLine("b", "blocked") + RecordLine("c", "sent"),
      RecordLine("c", "sent") + RecordLine("a", "sent") + RecordLine("b", "blocked"));
  EXPECT_FALSE(compared.comparison.AnyChange());
}

TEST(Comparison, TakesAnotherTagForAnotherVerdict) {
  const Compared compared(RecordLine("a", "tagged", R"("tag":{"name":"X","value":"low"})"),
                          RecordLine("a", "tagged", R"("tag":{"name":"X","value":"high"})"));
  EXPECT_EQ(compared.comparison.Count(Change::kVerdict), 1u);
}

TEST(Comparison, SaysWhenAMailIsNoLongerChecked) {
  const Compared compared(
      RecordLine("a", "sent"),
      RecordLine("a", "sent", R"("reasons":["no agent was there","the ring was full"])", "no"));
  ASSERT_EQ(compared.differences.size(), 1u);
  EXPECT_EQ(compared.comparison.Count(Change::kChecked), 1u);
  EXPECT_THAT(compared.differences[0],
              HasSubstr(R"("cause":"no reason -> no agent was there; the ring was full")"));
}

TEST(Comparison, TakesKnownAndUnknownForDifferent) {
  const std::string old = R"({"mail":"a","outcome":"sent"})";
  EXPECT_TRUE(Compared(old, RecordLine("a", "sent")).comparison.AnyChange());
  EXPECT_TRUE(Compared(RecordLine("a", "sent"), old).comparison.AnyChange());
  const Compared both(old, old);
  EXPECT_FALSE(both.comparison.AnyChange());
  EXPECT_EQ(both.comparison.UnknownInBoth(), 1u);
}

TEST(Comparison, SaysWhatOnlyOneRunHas) {
  const Compared compared(RecordLine("gone", "sent") + RecordLine("both", "sent"),
                          RecordLine("new", "blocked") + RecordLine("both", "sent"));
  ASSERT_EQ(compared.differences.size(), 2u);
  EXPECT_THAT(compared.differences[0],
              HasSubstr(R"({"mail":"new","occurrence":1,"change":"only after","before":null)"));
  EXPECT_THAT(compared.differences[1],
              HasSubstr(R"({"mail":"gone","occurrence":1,"change":"only before")"));
  EXPECT_THAT(compared.differences[1], HasSubstr(R"("after":null)"));
  EXPECT_EQ(compared.comparison.Outcomes()[0][kOutcomes], 1u);
  EXPECT_EQ(compared.comparison.Outcomes()[kOutcomes][1], 1u);
}

TEST(Comparison, PairsANameThatComesAgainInItsOrder) {
  const Compared compared(
      RecordLine("a", "sent") + RecordLine("a", "blocked") + RecordLine("a", "sent"),
      RecordLine("a", "sent") + RecordLine("a", "sent"));
  ASSERT_EQ(compared.differences.size(), 2u);
  EXPECT_THAT(compared.differences[0], HasSubstr(R"("occurrence":2,"change":"verdict")"));
  EXPECT_THAT(compared.differences[1], HasSubstr(R"("occurrence":3,"change":"only before")"));
  EXPECT_EQ(compared.comparison.RepeatedBefore(), 2u);
  EXPECT_EQ(compared.comparison.RepeatedAfter(), 1u);
  const Compared more(RecordLine("a", "sent"), RecordLine("a", "sent") + RecordLine("a", "sent"));
  ASSERT_EQ(more.differences.size(), 1u);
  EXPECT_THAT(more.differences[0], HasSubstr(R"("occurrence":2,"change":"only after")"));
  const Compared onlyAfter("", RecordLine("a", "sent") + RecordLine("a", "sent"));
  EXPECT_THAT(onlyAfter.differences[1], HasSubstr(R"("occurrence":2,"change":"only after")"));
}

TEST(Comparison, CountsAnotherRuleWithTheSameVerdictAsNoChange) {
  const Compared compared(
      RecordLine("a", "blocked", kBodyBlock),
      RecordLine("a", "blocked", R"("requests":[{"type":9,"answer":3,"rule":"other"}])"));
  EXPECT_FALSE(compared.comparison.AnyChange());
  EXPECT_EQ(compared.comparison.OtherCause(), 1u);
}

TEST(Comparison, SaysWhyAMailCanNoLongerBeRead) {
  const Compared compared(RecordLine("a", "sent"), R"({"mail":"a","error":"Permission denied"})");
  ASSERT_EQ(compared.differences.size(), 1u);
  EXPECT_THAT(
      compared.differences[0],
      HasSubstr(R"("cause":"no request blocked or tagged it -> unreadable: Permission denied")"));
}

TEST(Comparison, HasTheWaitsOfBothRuns) {
  const Compared compared(RecordLine("a", "blocked", std::string(kBodyBlock) + R"(,"ms":50)"),
                          RecordLine("a", "tagged", std::string(kCloseTag) + R"(,"ms":30)"));
  EXPECT_EQ(compared.comparison.RequestsBefore().Percentile(50), 400);
  EXPECT_EQ(compared.comparison.RequestsAfter().Percentile(50), 200);
  EXPECT_EQ(compared.comparison.MailsBefore().Percentile(99), 500);
  EXPECT_EQ(compared.comparison.MailsAfter().Percentile(99), 300);
  EXPECT_THAT(compared.comparison.Json(),
              HasSubstr(R"("request_waits":{"before":{"count":1,"p50_ms":40.0,)"));
}

TEST(Waits, PercentileIsTheSmallestTimeThatEnoughDoNotExceed) {
  Waits waits;
  EXPECT_EQ(waits.Percentile(50), 0);
  for (int i = 1; i <= 200; ++i) waits.Add(i);
  EXPECT_EQ(waits.Percentile(50), 100);
  EXPECT_EQ(waits.Percentile(95), 190);
  EXPECT_EQ(waits.Percentile(99), 198);
  EXPECT_EQ(waits.Percentile(100), 200);
  Waits three;
  for (const int time : {10, 20, 30}) three.Add(time);
  EXPECT_EQ(three.Percentile(50), 20);
  EXPECT_EQ(three.Percentile(95), 30);
}

TEST(Totals, AddUpEachMailOnce) {
  Totals totals;
  const std::string lines =
      RecordLine("a", "sent") + RecordLine("b", "blocked", kBodyBlock) +
      RecordLine("c", "blocked", kBodyBlock) + RecordLine("d", "tagged", kCloseTag) +
      RecordLine("e", "sent", R"("reasons":["x","y"])", "part") +
      RecordLine("f", "sent", R"("reasons":["x"])", "no") + R"({"mail":"g","outcome":"sent"})" +
      "\n" + R"({"mail":"h","error":"bad"})" + "\n";
  Compared::Read(lines, [&totals](const RecordedMail& mail) { totals.Take(mail); });
  EXPECT_EQ(totals.Mails(), 8u);
  EXPECT_EQ(totals.Of(Outcome::kSent), 4u);
  EXPECT_EQ(totals.Of(Outcome::kBlocked), 2u);
  EXPECT_EQ(totals.Of(Outcome::kTagged), 1u);
  EXPECT_EQ(totals.Of(Outcome::kUnreadable), 1u);
  using inspection::comparison::Checked;
  EXPECT_EQ(totals.Of(Checked::kYes), 4u);
  EXPECT_EQ(totals.Of(Checked::kPart), 1u);
  EXPECT_EQ(totals.Of(Checked::kNo), 1u);
  EXPECT_EQ(totals.Of(Checked::kUnknown), 1u);
  EXPECT_THAT(totals.Reasons(), ElementsAre(Pair("x", 2u), Pair("y", 1u)));
  EXPECT_THAT(totals.Decisions(), ElementsAre(Pair("close: tag", 1u), Pair("rule \"secret\"", 2u)));
  EXPECT_EQ(totals.Requests(), 3u);
  EXPECT_EQ(totals.RequestWaits().Count(), 3u);
  EXPECT_THAT(
      totals.Json(),
      HasSubstr(R"("checked":{"yes":4,"part":1,"no":1,"unknown":1},"reasons":{"x":2,"y":1})"));
}

}  // namespace
