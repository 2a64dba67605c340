#include "tools/logstatistics.h"

#include <fmt/format.h>

#include "tools/json.h"
#include "tools/text.h"

namespace tools {

namespace {

using inspection::checked::Checked;
using inspection::checked::kReasons;
using inspection::checked::Reason;

constexpr std::array<unsigned, 3> kPercentiles = {50, 95, 99};

// "2026-11-21" for the log's "11/21/2026 ...".
std::string DayOf(const std::string& time) {
  if (time.size() < 10 || time[2] != '/') return "unknown";
  return time.substr(6, 4) + "-" + time.substr(0, 2) + "-" + time.substr(3, 2);
}

std::int64_t Milliseconds(const inspection::comparison::Waits& waits, unsigned percent) {
  return waits.Percentile(percent) / 10;
}

}  // namespace

void LogStatistics::CountIn(Totals& totals, const inspection::logs::MailStory& mail) {
  ++totals.mails;
  ++totals.checked[static_cast<std::size_t>(mail.checked)];
  for (const auto& reason : mail.reasons) {
    ++totals.reasons[static_cast<std::size_t>(reason.reason)];
  }
  for (const auto& request : mail.requests) totals.waits.Add(request.waitedMs * 10);
}

void LogStatistics::Count(const inspection::logs::MailStory& mail) {
  CountIn(m_days[{mail.machine, DayOf(mail.time)}], mail);
  CountIn(m_all, mail);
}

std::string LogStatistics::Text() const {
  const auto row = [](const std::string& machine, const std::string& day, const Totals& totals) {
    const auto count = [&](Checked checked) {
      return totals.checked[static_cast<std::size_t>(checked)];
    };
    return fmt::format("{} {:<10} {:>7} {:>7} {:>6} {:>6} {:>7} {:>5} {:>6} {:>6}\n",
                       Padded(Printable(machine), 15), day, totals.mails, count(Checked::kYes),
                       count(Checked::kPart), count(Checked::kNo), count(Checked::kUnknown),
                       Milliseconds(totals.waits, kPercentiles[0]),
                       Milliseconds(totals.waits, kPercentiles[1]),
                       Milliseconds(totals.waits, kPercentiles[2]));
  };
  std::string text =
      "                                      checked                          wait in ms\n"
      "machine         day          mails     yes   part     no unknown  50 %   95 %   99 %\n";
  for (const auto& [key, totals] : m_days) {
    text += row(key.first.empty() ? "unknown" : key.first, key.second, totals);
  }
  text += row("all", "", m_all);
  for (std::size_t i = 0; i < kReasons; ++i) {
    if (m_all.reasons[i] == 0) continue;
    text += fmt::format("{:>8}  {}\n", m_all.reasons[i],
                        inspection::checked::TextOf(static_cast<Reason>(i)));
  }
  return text;
}

std::string LogStatistics::JsonLines() const {
  const auto line = [](const Json& machine, const Json& day, const Totals& totals) {
    Json checked = Json::Object();
    for (std::size_t i = 0; i < totals.checked.size(); ++i) {
      checked.Add(NameOf(static_cast<Checked>(i)), totals.checked[i]);
    }
    Json reasons = Json::Object();
    for (std::size_t i = 0; i < kReasons; ++i) {
      if (totals.reasons[i] == 0) continue;
      reasons.Add(inspection::checked::TextOf(static_cast<Reason>(i)), totals.reasons[i]);
    }
    Json waits = Json::Object();
    for (const unsigned percent : kPercentiles) {
      waits.Add("p" + std::to_string(percent), Milliseconds(totals.waits, percent));
    }
    return Json::Object()
               .Add("machine", machine)
               .Add("day", day)
               .Add("mails", totals.mails)
               .Add("checked", checked)
               .Add("reasons", reasons)
               .Add("wait_ms", waits)
               .Text() +
           "\n";
  };
  std::string text;
  for (const auto& [key, totals] : m_days) {
    text += line(key.first.empty() ? Json() : Json(key.first),
                 key.second == "unknown" ? Json() : Json(key.second), totals);
  }
  return text + line(Json(), Json(), m_all);
}

}  // namespace tools
