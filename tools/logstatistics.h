// The totals of `quorvex log explain --stats`.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "inspection/comparison/waits.h"
#include "inspection/logs/logstory.h"

namespace tools {

// Counts stories per machine and day. Takes memory for each machine and day, not for each mail.
class LogStatistics {
 public:
  void Count(const inspection::logs::MailStory& mail);

  // A table with a line for each machine and day, the reasons, and a line for all.
  std::string Text() const;
  // The same, one JSON object a line. The line for all has null as machine and day.
  std::string JsonLines() const;

 private:
  struct Totals {
    std::uint64_t mails = 0;
    std::array<std::uint64_t, 4> checked{};  // by inspection::checked::Checked
    std::array<std::uint64_t, inspection::checked::kReasons> reasons{};
    inspection::comparison::Waits waits;  // of each request
  };
  static void CountIn(Totals& totals, const inspection::logs::MailStory& mail);

  std::map<std::pair<std::string, std::string>, Totals> m_days;  // by machine and day
  Totals m_all;
};

}  // namespace tools
