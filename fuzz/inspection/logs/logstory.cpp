// The log explainer. The input is arbitrary text, read line by line as the command reads it. The
// stories keep their limits and their totals match. The logger's own lines are recognised and split
// into their parts.
#include <algorithm>
#include <string>
#include <string_view>

#include "fuzz/fuzzing.h"
#include "inspection/logs/logdatagram.h"
#include "inspection/logs/logline.h"
#include "inspection/logs/logstory.h"

namespace {

using fuzzing::Require;

void CheckLine(std::string_view text) {
  const auto line = inspection::logs::ParseLogLine(text);
  if (!line) return;
  std::string level(line->level);
  level.resize(4, ' ');
  const std::string again = "(" + std::string(line->thread) + ") " + std::string(line->time) + " " +
                            std::string(line->module) + "> " + level + ": " +
                            std::string(line->message);
  // A level is any four characters, without trailing blanks.
  Require(again.size() <= text.size(), "the parts come from the line");
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  Require(again == text, "the parts make up the line");
  const std::string time = inspection::logs::SortableTime(*line);
  Require(time.size() == 20, "a time that sorts");
}

// The whole input as one datagram, a log line or not.
void CheckDatagram(std::string_view bytes) {
  const auto line = inspection::logs::ParseLogDatagram(bytes);
  Require(!line || inspection::logs::GravityOf(line->level).has_value(), "a line has a level");
  const std::string escaped = inspection::logs::Escaped(bytes);
  std::string again;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    Require(escaped[i] >= 0x20 && escaped[i] < 0x7F, "only characters that a terminal shows");
    if (escaped[i] != '\\') {
      again += escaped[i];
    } else if (escaped[++i] == '\\') {
      again += '\\';
    } else {
      again += static_cast<char>(std::stoi(escaped.substr(i + 1, 2), nullptr, 16));
      i += 2;
    }
  }
  Require(again == bytes, "escaping is reversible");
}

void CheckStory(const inspection::logs::MailStory& mail) {
  Require(!mail.time.empty() && !mail.thread.empty() && !mail.window.empty(),
          "a story has a time, thread and window");
  Require(mail.requests.size() == std::min(mail.requestCount, inspection::logs::kMaxRequests),
          "all requests up to the limit");
  constexpr std::string_view kVerdicts[] = {"sent", "blocked", "tagged", "unknown"};
  Require(std::count(std::begin(kVerdicts), std::end(kVerdicts), mail.outcome) == 1, "an outcome");
  Require((mail.checked == inspection::checked::Checked::kYes) == mail.reasons.empty(),
          "a mail that was not fully checked has a reason");
  for (const inspection::logs::StoryRequest& request : mail.requests) {
    Require(!request.stage.empty() && request.waitedMs >= 0, "a request has a stage and a wait");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzzing::ExactBytes log({reinterpret_cast<const char*>(data), size});
  std::size_t told = 0;
  std::size_t lines = 0;
  inspection::logs::LogStories stories([&told](const inspection::logs::MailStory& mail) {
    ++told;
    CheckStory(mail);
  });
  for (std::string_view rest = log.View(); !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size() - 1) + 1;
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end);
    CheckLine(line);
    CheckDatagram(line);
    stories.Take(line);
    ++lines;
  }
  stories.Finish();
  Require(stories.Lines() == lines && stories.Foreign() <= lines, "every line counts once");
  Require(told <= lines, "a mail has a line");
  Require(stories.Unwatched() <= lines, "a response has a line");
  const std::size_t before = told;
  stories.Finish();
  Require(told == before, "a story is told once");
  return 0;
}
