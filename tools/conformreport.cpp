#include "tools/conformreport.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/json.h"
#include "tools/text.h"

namespace tools {
namespace {

using inspection::conformance::CheckOutcome;
using inspection::conformance::Result;

constexpr const char* kDocument = "docs/protocol.md: ";

const char* WordOf(CheckOutcome outcome) {
  constexpr const char* kWords[] = {"pass", "fail", "unknown", "not-checked"};
  return kWords[static_cast<std::size_t>(outcome)];
}

std::size_t Count(const std::vector<Result>& results, CheckOutcome outcome) {
  return static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(),
                    [outcome](const Result& result) { return result.outcome == outcome; }));
}

// XML text, which can't hold control characters at all.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : Printable(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string WaitsText(const Result& result) {
  if (!result.waits) return {};
  return fmt::format("from the push to the answer: 50 % within {:.1f} ms, 95 % {:.1f}, 99 % {:.1f}",
                     result.waits->p50, result.waits->p95, result.waits->p99);
}

std::string SeenWithWaits(const Result& result) {
  return result.seen + (result.waits ? "; " + WaitsText(result) : std::string());
}

}  // namespace

std::string ConformText(const Result& result, bool colours, std::size_t width) {
  constexpr std::size_t kIndent = 13;
  constexpr const char* kWords[] = {"pass", "FAIL", "unknown", "not checked"};
  std::string word = kWords[static_cast<std::size_t>(result.outcome)];
  const std::string gap(kIndent - word.size(), ' ');
  if (colours && result.outcome != CheckOutcome::kPass) {
    word = (result.outcome == CheckOutcome::kFail ? "\x1b[31m" : "\x1b[33m") + word + "\x1b[0m";
  }
  std::string text = word + gap;
  const auto add = [&text, width](const std::string& line) {
    std::string wrapped = Wrapped(line, width - kIndent, 0);
    for (std::size_t at = 0; (at = wrapped.find('\n', at)) != std::string::npos; ++at) {
      wrapped.insert(at + 1, kIndent, ' ');
    }
    text += wrapped + "\n";
  };
  add(result.check);
  for (const std::string& line : {result.cause, result.seen, WaitsText(result),
                                  result.rule.empty() ? "" : kDocument + result.rule}) {
    if (line.empty()) continue;
    text += std::string(kIndent, ' ');
    add(line);
  }
  return text;
}

std::string ConformJson(const Result& result) {
  Json object = Json::Object();
  object.Add("check", result.check).Add("outcome", WordOf(result.outcome)).Add("seen", result.seen);
  if (result.outcome == CheckOutcome::kFail) {
    object.Add("cause", result.cause).Add("rule", result.rule);
  }
  if (result.waits) {
    object.Add("waits_ms", Json::Object()
                               .Add("50", result.waits->p50)
                               .Add("95", result.waits->p95)
                               .Add("99", result.waits->p99));
  }
  return object.Text();
}

std::string ConformTotals(const std::vector<Result>& results) {
  return fmt::format("{} passed, {} failed, {} unknown, {} not checked",
                     Count(results, CheckOutcome::kPass), Count(results, CheckOutcome::kFail),
                     Count(results, CheckOutcome::kUnknown),
                     Count(results, CheckOutcome::kLeftOut));
}

std::string ConformTotalsJson(const std::vector<Result>& results) {
  return Json::Object()
      .Add("passed", Count(results, CheckOutcome::kPass))
      .Add("failed", Count(results, CheckOutcome::kFail))
      .Add("unknown", Count(results, CheckOutcome::kUnknown))
      .Add("not_checked", Count(results, CheckOutcome::kLeftOut))
      .Text();
}

std::string ConformJUnit(const std::vector<Result>& results) {
  std::string text = fmt::format(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<testsuite name=\"quorvex conform\" tests=\"{}\" failures=\"{}\" errors=\"{}\" "
      "skipped=\"{}\">\n",
      results.size(), Count(results, CheckOutcome::kFail), Count(results, CheckOutcome::kUnknown),
      Count(results, CheckOutcome::kLeftOut));
  for (const Result& result : results) {
    text += fmt::format("  <testcase classname=\"conform\" name=\"{}\">\n", Escaped(result.check));
    const std::string seen = Escaped(SeenWithWaits(result));
    switch (result.outcome) {
      case CheckOutcome::kPass:
        text += fmt::format("    <system-out>{}</system-out>\n", seen);
        break;
      case CheckOutcome::kFail:
        text += fmt::format("    <failure message=\"{}\">{}\n{}{}</failure>\n",
                            Escaped(result.cause), seen, kDocument, Escaped(result.rule));
        break;
      case CheckOutcome::kUnknown:
        text += fmt::format("    <error message=\"{}\"/>\n", seen);
        break;
      case CheckOutcome::kLeftOut:
        text += fmt::format("    <skipped message=\"{}\"/>\n", seen);
        break;
    }
    text += "  </testcase>\n";
  }
  return text + "</testsuite>\n";
}

}  // namespace tools
