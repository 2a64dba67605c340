#include "tools/resultreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/text.h"

namespace tools {
namespace {

using inspection::comparison::Change;
using inspection::comparison::Checked;
using inspection::comparison::Comparison;
using inspection::comparison::kOutcomes;
using inspection::comparison::Outcome;
using inspection::comparison::Tenths;
using inspection::comparison::Verdict;
using inspection::comparison::Waits;

std::string TimeText(Tenths time) {
  if (time < 10'000) return fmt::format("{}.{} ms", time / 10, time % 10);
  return fmt::format("{:.2f} s", static_cast<double>(time) / 10'000);
}

std::string WaitsHead() {
  return fmt::format("\n{:<18}{:>10}{:>12}{:>12}{:>12}{:>12}\n", "waits", "count", "50 %", "95 %",
                     "99 %", "longest");
}

std::string WaitsRow(const char* label, const Waits& waits) {
  std::string row = fmt::format("  {:<16}{:>10}", label, waits.Count());
  if (waits.Count() > 0) {
    for (const unsigned percent : {50U, 95U, 99U, 100U}) {
      row += fmt::format("{:>12}", TimeText(waits.Percentile(percent)));
    }
  }
  return row + "\n";
}

// The most frequent first.
std::string CountsText(const char* title, const std::map<std::string, std::uint64_t>& counts) {
  if (counts.empty()) return {};
  std::vector<std::pair<std::string, std::uint64_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& one, const auto& other) { return one.second > other.second; });
  std::string text = fmt::format("\n{}\n", title);
  for (const auto& [words, count] : sorted) {
    text += fmt::format("{:>9}  {}\n", count, Wrapped(words, 69, 11));
  }
  return text;
}

const char* OutcomeWord(std::size_t index) {
  return index == kOutcomes ? "not there" : NameOf(static_cast<Outcome>(index));
}

std::string SideText(const Verdict* verdict) {
  if (verdict == nullptr) return "not there";
  std::string text = NameOf(verdict->outcome);
  if (!verdict->tag.empty()) text += " with " + Printable(verdict->tag);
  return text;
}

std::string MatrixText(const Comparison::Matrix& matrix) {
  std::vector<std::size_t> shown;
  for (std::size_t i = 0; i <= kOutcomes; ++i) {
    bool used = false;
    for (std::size_t j = 0; j <= kOutcomes; ++j) used |= matrix[i][j] > 0 || matrix[j][i] > 0;
    if (used) shown.push_back(i);
  }
  std::string text = fmt::format("{:<16}", "before \\ after");
  for (const std::size_t after : shown) text += fmt::format("{:>12}", OutcomeWord(after));
  text += "\n";
  for (const std::size_t before : shown) {
    text += fmt::format("{:<16}", OutcomeWord(before));
    for (const std::size_t after : shown) text += fmt::format("{:>12}", matrix[before][after]);
    text += "\n";
  }
  return text;
}

}  // namespace

std::string TotalsText(const inspection::comparison::Totals& totals) {
  std::string text = Counted(totals.Mails(), "mail") + ":";
  for (std::size_t i = 0; i < kOutcomes; ++i) {
    const std::uint64_t count = totals.Of(static_cast<Outcome>(i));
    if (i > 2 && count == 0) continue;
    text += fmt::format("{} {} {}", i == 0 ? "" : ",", count,
                        i == 4 ? "with an unknown outcome" : OutcomeWord(i));
  }
  text += fmt::format("\n{} checked, {} checked in part, {} unchecked", totals.Of(Checked::kYes),
                      totals.Of(Checked::kPart), totals.Of(Checked::kNo));
  if (totals.Of(Checked::kUnknown) > 0) {
    text += fmt::format(", {} {}", totals.Of(Checked::kUnknown), PhraseOf(Checked::kUnknown));
  }
  text += "\n" + CountsText("not checked, or in part, because", totals.Reasons());
  text += CountsText("blocked or tagged by", totals.Decisions());
  text += WaitsHead();
  text += WaitsRow("each request", totals.RequestWaits());
  text += WaitsRow("each mail", totals.MailTimes());
  if (const auto without = totals.Requests() - totals.RequestWaits().Count(); without > 0) {
    text += fmt::format("  {} without a recorded wait\n", Counted(without, "request"));
  }
  return text;
}

std::string DifferenceText(const inspection::comparison::Difference& difference) {
  std::string text = Printable(difference.mail);
  if (difference.occurrence > 1)
    text += fmt::format(" (no. {} of this name)", difference.occurrence);
  if (difference.change == Change::kChecked) {
    text += fmt::format("\n  {}: {} -> {}\n", SideText(difference.before),
                        PhraseOf(difference.before->checked), PhraseOf(difference.after->checked));
  } else {
    text += fmt::format("\n  {} -> {}\n", SideText(difference.before), SideText(difference.after));
  }
  if (!difference.cause.empty()) text += "  " + Wrapped(difference.cause, 78, 2) + "\n";
  return text;
}

std::string ComparisonText(const Comparison& comparison) {
  std::string text = MatrixText(comparison.Outcomes()) + WaitsHead();
  text += WaitsRow("request, before", comparison.RequestsBefore());
  text += WaitsRow("request, after", comparison.RequestsAfter());
  text += WaitsRow("mail, before", comparison.MailsBefore());
  text += WaitsRow("mail, after", comparison.MailsAfter());
  text += "\n";
  if (comparison.OtherCause() > 0) {
    text += Counted(comparison.OtherCause(), "mail") +
            " with the same verdict by another request or rule\n";
  }
  if (comparison.RepeatedBefore() + comparison.RepeatedAfter() > 0) {
    text += fmt::format("names that occur again: {} before, {} after; paired in their order\n",
                        comparison.RepeatedBefore(), comparison.RepeatedAfter());
  }
  if (comparison.UnknownInBoth() > 0) {
    text += "neither run says whether " + Counted(comparison.UnknownInBoth(), "mail") +
            (comparison.UnknownInBoth() == 1 ? " was checked\n" : " were checked\n");
  }
  text += fmt::format("{} before, {} after: {} with another verdict, {} more or less checked, ",
                      Counted(comparison.Before(), "mail"), comparison.After(),
                      comparison.Count(Change::kVerdict), comparison.Count(Change::kChecked));
  return text + fmt::format("{} only before, {} only after\n",
                            comparison.Count(Change::kOnlyBefore),
                            comparison.Count(Change::kOnlyAfter));
}

void PrintBadLines(const std::string& command, const inspection::comparison::ResultReader& reader) {
  for (const inspection::comparison::BadLine& bad : reader.ShownBadLines()) {
    fmt::print(stderr, "quorvex {}: {}:{}: {}\n", command, Printable(bad.file), bad.line,
               Printable(bad.why));
  }
  if (reader.BadLines() > reader.ShownBadLines().size()) {
    fmt::print(stderr, "quorvex {}: {} in all\n", command, Counted(reader.BadLines(), "bad line"));
  }
}

}  // namespace tools
