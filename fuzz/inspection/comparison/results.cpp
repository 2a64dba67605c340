// Recorded results. The input is a file of them. Its lines are mails, bad lines or empty, however
// the file is read; the totals add up; what a page gets of a mail is one JSON object; and a run
// compared with itself has no changes.
#include <rapidjson/document.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "fuzz/fuzzing.h"
#include "inspection/comparison/comparison.h"
#include "inspection/comparison/resultreader.h"
#include "inspection/comparison/totals.h"

namespace {

using fuzzing::Require;
using inspection::comparison::Comparison;
using inspection::comparison::Difference;
using inspection::comparison::kCheckedLevels;
using inspection::comparison::kMaxRequests;
using inspection::comparison::kOutcomes;
using inspection::comparison::Outcome;
using inspection::comparison::RecordedMail;
using inspection::comparison::ResultReader;
using inspection::comparison::Totals;

void RequireObject(const std::string& json, const char* what) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  Require(!document.HasParseError() && document.IsObject(), what);
}

void CheckMail(const RecordedMail& mail) {
  Require(mail.requests.size() == std::min(mail.requestCount, kMaxRequests),
          "requests are counted");
  Require(mail.error.empty() || mail.outcome == Outcome::kUnreadable,
          "a mail with an error is unreadable");
  RequireObject(MailJson(mail), "the page's mail is an object");
  const auto* const deciding = DecidingRequest(mail);
  Require(deciding == nullptr || channel::IsDecisive(deciding->answer.value()),
          "the deciding answer decides");
}

void CheckTotals(const Totals& totals, std::size_t mails) {
  std::uint64_t outcomes = 0;
  for (std::size_t i = 0; i < kOutcomes; ++i) outcomes += totals.Of(static_cast<Outcome>(i));
  std::uint64_t checked = totals.Of(Outcome::kUnreadable);
  for (std::size_t i = 0; i < kCheckedLevels; ++i) {
    checked += totals.Of(static_cast<inspection::checked::Checked>(i));
  }
  Require(totals.Mails() == mails && outcomes == mails && checked == mails, "the totals add up");
  RequireObject(totals.Json(), "the totals are an object");
}

void CheckComparison(const std::string& file) {
  Comparison comparison([](const Difference&) { Require(false, "a run differs from itself"); });
  std::string error;
  std::istringstream before(file);
  ResultReader([&](const RecordedMail& mail) {
    comparison.TakeBefore(mail);
  }).Read(before, "before", &error);
  std::istringstream after(file);
  ResultReader([&](const RecordedMail& mail) {
    comparison.TakeAfter(mail);
  }).Read(after, "after", &error);
  comparison.Finish();
  Require(!comparison.AnyChange(), "a run doesn't change against itself");
  RequireObject(comparison.Json(), "the comparison is an object");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file(reinterpret_cast<const char*>(data), size);
  Totals totals;
  ResultReader whole([&totals](const RecordedMail& mail) {
    CheckMail(mail);
    totals.Take(mail);
  });
  std::string error;
  std::istringstream stream(file);
  if (!whole.Read(stream, "file", &error)) {
    Require(!error.empty() && whole.Mails() == 0, "a file that is refused has a reason");
    return 0;
  }
  CheckTotals(totals, whole.Mails());

  std::size_t lines = 0;
  ResultReader single([](const RecordedMail&) {});
  std::istringstream again(file.starts_with("\xEF\xBB\xBF") ? file.substr(3) : file);
  for (std::string line; std::getline(again, line);) single.ReadLine(line, "file", ++lines);
  Require(single.Mails() == whole.Mails() && single.BadLines() == whole.BadLines(),
          "a file has what its lines have");
  CheckComparison(file);
  return 0;
}
