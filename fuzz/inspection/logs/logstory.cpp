// The log explainer. The input is a log of any kind, read in lines as the command reads them, and
// each line on its own. The stories keep their limits and add up; a line that the logger wrote is
// told from any other and comes apart into what it was made of.
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
  // A level is any four characters, and the blanks at its end are gone.
  Require(again.size() <= text.size(), "the parts come from the line");
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  Require(again == text, "the parts make the line again");
  const std::string time = inspection::logs::SortableTime(*line);
  Require(time.size() == 20, "a time that sorts");
}

// As a datagram, and as one of nobody's.
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
  Require(again == bytes, "what was escaped can be had again");
}

void CheckStory(const inspection::logs::MailStory& mail) {
  Require(!mail.time.empty() && !mail.thread.empty() && !mail.window.empty(), "where and when");
  Require(mail.requests.size() == std::min(mail.requestCount, inspection::logs::kMaxRequests),
          "the requests");
  constexpr std::string_view kVerdicts[] = {"sent", "blocked", "tagged", "unknown"};
  Require(std::count(std::begin(kVerdicts), std::end(kVerdicts), mail.verdict) == 1, "a verdict");
  Require((mail.checked == inspection::logs::Checked::kWhole) == mail.reasons.empty(),
          "what was not checked whole has a reason");
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
  Require(stories.WithoutSink() <= lines, "a response has a line");
  const std::size_t before = told;
  stories.Finish();
  Require(told == before, "a story is told once");
  return 0;
}
