// `quorvex log explain`: tells what became of each mail, from the add-in's log.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "inspection/logs/logline.h"
#include "inspection/logs/logstory.h"
#include "platform/textlines.h"
#include "tools/command.h"
#include "tools/htmlpage.h"
#include "tools/inputfile.h"
#include "tools/json.h"
#include "tools/text.h"

namespace tools {

namespace {

// Longer than any line that the logger writes; a foreign one comes in pieces.
constexpr std::size_t kPieceSize = 8192;
// Of a file without a line of the log, no more is searched for one.
constexpr std::size_t kSearchedPieces = 10'000;

struct ExplainOptions {
  std::vector<std::string> files;
  std::string html;
  bool json = false;
};

struct LogFile {
  std::string path;
  std::string begins;  // the time of its first line; empty if it has none
};

const char* NameOf(inspection::logs::RequestEnd end) {
  switch (end) {
    case inspection::logs::RequestEnd::kPassedOn:
      return "answered";
    case inspection::logs::RequestEnd::kNotPassedOn:
      return "not passed on";
    case inspection::logs::RequestEnd::kTimeOut:
      return "no answer in time";
    case inspection::logs::RequestEnd::kNoBlock:
      return "not noticed";
    case inspection::logs::RequestEnd::kNoAgent:
      return "no agent";
    case inspection::logs::RequestEnd::kNotPushed:
      break;
  }
  return "not pushed";
}

const char* NameOf(inspection::logs::Checked checked) {
  switch (checked) {
    case inspection::logs::Checked::kWhole:
      return "checked";
    case inspection::logs::Checked::kInPart:
      return "checked in part";
    case inspection::logs::Checked::kNot:
      break;
  }
  return "unchecked";
}

bool WasAnswered(const inspection::logs::StoryRequest& request) {
  return request.end == inspection::logs::RequestEnd::kPassedOn ||
         request.end == inspection::logs::RequestEnd::kNotPassedOn;
}

Json StoryJson(const inspection::logs::MailStory& mail) {
  Json requests = Json::Array();
  for (const inspection::logs::StoryRequest& request : mail.requests) {
    const bool answered = WasAnswered(request);
    const bool polled = answered || request.end == inspection::logs::RequestEnd::kTimeOut;
    requests.Add(Json::Object()
                     .Add("stage", request.stage)
                     .Add("end", NameOf(request.end))
                     .Add("answer", answered ? Json(request.answer) : Json())
                     .Add("polls_left", polled ? Json(request.counter) : Json())
                     .Add("waited_ms", request.waitedMs));
  }
  return Json::Object()
      .Add("time", mail.time)
      .Add("thread", mail.thread)
      .Add("item", mail.item)
      .Add("window", mail.window)
      .Add("sink", true)
      .Add("subject", mail.subject)
      .Add("verdict", mail.verdict)
      .Add("checked", NameOf(mail.checked))
      .Add("reasons", Json::ArrayOf(mail.reasons))
      .Add("request_count", mail.requestCount)
      .Add("requests", requests);
}

void PrintStory(const inspection::logs::MailStory& mail) {
  fmt::print("{} thread {} {}\n", mail.time, mail.thread, Shortened(mail.item, 24));
  fmt::print("  window   {}; sink attached, since its Send was seen\n", mail.window);
  if (!mail.subject.empty()) fmt::print("  subject  {}\n", Shortened(mail.subject, 69));
  for (const inspection::logs::StoryRequest& request : mail.requests) {
    std::string answer = "-";
    if (WasAnswered(request)) answer = std::to_string(request.answer);
    fmt::print("  asked    {:<13} answer {:>3}, {:>4} polls left, {:>6} ms  {}\n", request.stage,
               answer, request.counter, request.waitedMs, NameOf(request.end));
  }
  if (mail.requestCount > mail.requests.size()) {
    fmt::print("  asked    ... and {} more\n", mail.requestCount - mail.requests.size());
  }
  fmt::print("  verdict  {}, {}\n", mail.verdict, NameOf(mail.checked));
  for (const std::string& reason : mail.reasons) {
    fmt::print("{}\n", Wrapped("  because  " + reason, 80, 11));
  }
  fmt::print("\n");
}

// True if the file can be read as text as far as its first line of the log.
bool FindBeginning(LogFile* file) {
  platform::TextLines lines(file->path.c_str());
  if (!lines.IsOpen()) {
    fmt::print(stderr, "quorvex log explain: {}: can't be opened\n", Printable(file->path));
    return false;
  }
  std::string_view piece;
  for (std::size_t i = 0; i < kSearchedPieces && lines.NextPiece(kPieceSize, &piece); ++i) {
    if (piece.find('\0') != std::string_view::npos) {
      fmt::print(stderr, "quorvex log explain: {}:{}: a NUL byte: this is no text file\n",
                 Printable(file->path), i + 1);
      return false;
    }
    if (const auto line = inspection::logs::ParseLogLine(piece)) {
      file->begins = inspection::logs::SortableTime(*line);
      return true;
    }
  }
  return true;
}

// False if the file turns out to be no text further on.
bool ReadStories(const LogFile& file, inspection::logs::LogStories* stories) {
  platform::TextLines lines(file.path.c_str());
  std::string_view piece;
  bool inside = false;  // of a line that came in pieces: its later ones are no lines
  for (std::size_t number = 1; lines.NextPiece(kPieceSize, &piece);) {
    if (piece.find('\0') != std::string_view::npos) {
      fmt::print(stderr, "quorvex log explain: {}:{}: a NUL byte: not read further\n",
                 Printable(file.path), number);
      return false;
    }
    if (!inside) stories->Take(piece);
    inside = !piece.ends_with('\n');
    if (!inside) ++number;
  }
  return true;
}

struct Totals {
  std::size_t mails = 0;
  std::size_t inPart = 0;
  std::size_t unchecked = 0;
};

int Explain(const ExplainOptions& options) {
  bool unreadable = false;
  std::vector<LogFile> files;
  for (const std::string& path : options.files) {
    RequireFile(path, kStatusUsage);
    LogFile file{path, {}};
    if (FindBeginning(&file)) {
      files.push_back(std::move(file));
    } else {
      unreadable = true;
    }
  }
  std::stable_sort(files.begin(), files.end(), [](const LogFile& one, const LogFile& other) {
    return one.begins < other.begins;
  });
  MailsPage page(options.html, "Mails in the log");
  Totals totals;
  inspection::logs::LogStories stories(
      [&options, &totals, &page](const inspection::logs::MailStory& mail) {
        if (!options.html.empty()) page.AddLine(StoryJson(mail).Text());
        ++totals.mails;
        if (mail.checked == inspection::logs::Checked::kNot) ++totals.unchecked;
        if (mail.checked == inspection::logs::Checked::kInPart) ++totals.inPart;
        if (options.json) {
          fmt::print("{}\n", StoryJson(mail).Text());
        } else {
          PrintStory(mail);
        }
      });
  for (const LogFile& file : files) {
    if (!ReadStories(file, &stories)) unreadable = true;
  }
  stories.Finish();
  page.Finish();
  if (stories.WithoutSink() > 0) {
    fmt::print(options.json ? stderr : stdout,
               "{} got no sink: what is sent from there goes out unchecked\n",
               Counted(stories.WithoutSink(), "inline response"));
  }
  const std::string summary =
      fmt::format("{}: {} unchecked, {} checked in part; {}, {} skipped\n",
                  Counted(totals.mails, "mail"), totals.unchecked, totals.inPart,
                  Counted(stories.Lines(), "line"), Counted(stories.Foreign(), "foreign one"));
  fmt::print(options.json ? stderr : stdout, "{}", summary);
  if (unreadable) return kStatusUnreadable;
  return totals.unchecked + totals.inPart + stories.WithoutSink() > 0 ? kStatusFindings
                                                                      : kStatusDone;
}

}  // namespace

Command LogExplainCommand() {
  auto options = std::make_shared<ExplainOptions>();
  return {
      .name = "explain",
      .summary = "Tell what became of each mail, and why",
      .footer =
          "Examples:\n"
          "  quorvex log explain mail.PC17_0.log mail.PC17_1.log\n"
          "  quorvex log explain --json mail.PC17_0.log\n\n"
          "Exit status: 0 every mail was checked, 1 some were not or in part, 2 a file is\n"
          "no text, 3 wrong usage, or there is no such file.",
      .options = {{.name = "FILE",
                   .target = &options->files,
                   .help = "The files of the add-in's log, in any order",
                   .required = true},
                  {.name = "--json",
                   .target = &options->json,
                   .help = "One JSON object a line, one line a mail"},
                  {.name = "--html",
                   .target = &options->html,
                   .help = "Also write a page for a browser with every mail",
                   .valueName = "FILE"}},
      .run = [options] { return Explain(*options); },
  };
}

}  // namespace tools
