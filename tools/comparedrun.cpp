#include "tools/comparedrun.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <unordered_set>

#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/resultreport.h"
#include "tools/system/childprocess.h"
#include "tools/system/commandline.h"
#include "tools/text.h"

namespace tools {
namespace {

using inspection::comparison::ResultReader;
using tools::system::ChildProcess;

// A mail takes minutes at most, even if no agent answers any of its requests.
constexpr std::uint32_t kOneMailMs = 30 * 60'000;
constexpr std::uint32_t kRunEndMs = 30'000;
// Far below what any system's command line holds.
constexpr std::size_t kMostArgumentBytes = 16'000;

void SendBatch(const ComparedRun& run, const MailsToSend& batch, ResultReader* reader) {
  std::vector<std::string> arguments = {"send", "--json", "--jobs", std::to_string(batch.jobs)};
  if (batch.fast) arguments.emplace_back("--fast");
  if (!batch.filesFrom.empty()) {
    arguments.insert(arguments.end(), {"--files-from", batch.filesFrom});
  }
  if (run.kind == RunKind::kAgent) {
    arguments.emplace_back("--agent");
  } else {
    arguments.insert(arguments.end(), {"--rules", run.path});
  }
  arguments.emplace_back("--");
  arguments.insert(arguments.end(), batch.mails.begin(), batch.mails.end());
  ChildProcess child;
  std::string error;
  if (!child.Start(tools::system::OwnProgramPath(), arguments, &error)) throw CommandError(error);
  std::string line;
  ChildProcess::ReadResult result = ChildProcess::ReadResult::kEnd;
  for (std::size_t number = 1;
       (result = child.ReadLine(&line, kOneMailMs)) == ChildProcess::ReadResult::kLine; ++number) {
    reader->ReadLine(line, NameOf(run), number);
  }
  int status = -1;
  const bool ended =
      result == ChildProcess::ReadResult::kEnd && child.WaitForEnd(kRunEndMs, &status);
  // 0, 1, 2 and 4 say what became of the mails.
  if (!ended || status == kStatusUsage || status > 4 || status < 0) {
    throw CommandError("the mails can't be sent with " + Printable(NameOf(run)));
  }
}

}  // namespace

ComparedRun RunNamed(const std::string& argument) {
  return {argument.ends_with(".toml") ? RunKind::kRules : RunKind::kRecorded, argument};
}

std::string NameOf(const ComparedRun& run) {
  return run.kind == RunKind::kAgent ? "the running agent" : run.path;
}

bool FeedRun(const ComparedRun& run, const MailsToSend& mails, ResultReader::Take take) {
  ResultReader reader(std::move(take), true);
  bool whole = true;
  if (run.kind == RunKind::kRecorded) {
    std::string error;
    whole = reader.ReadFile(run.path, &error);
    if (!whole) fmt::print(stderr, "quorvex compare: {}: {}\n", Printable(run.path), error);
  } else {
    MailsToSend batch = {{}, {}, mails.fast, mails.jobs};
    std::size_t bytes = 0;
    for (const std::string& mail : mails.mails) {
      if (!batch.mails.empty() && bytes + mail.size() > kMostArgumentBytes) {
        SendBatch(run, batch, &reader);
        batch.mails.clear();
        bytes = 0;
      }
      batch.mails.push_back(mail);
      bytes += mail.size() + 3;
    }
    batch.filesFrom = mails.filesFrom;
    if (!batch.IsEmpty()) SendBatch(run, batch, &reader);
  }
  PrintBadLines("compare", reader);
  return whole && reader.BadLines() == 0;
}

std::vector<std::string> FilesOfMails(const std::vector<std::string>& names) {
  std::vector<std::string> files;
  std::unordered_set<std::string> seen;
  for (const std::string& name : names) {
    std::string file = name;
    std::error_code error;
    const std::size_t mark = name.rfind('#');
    if (mark != std::string::npos && !std::filesystem::exists(PathOf(name), error)) {
      file.resize(mark);
    }
    if (seen.insert(file).second) files.push_back(std::move(file));
  }
  return files;
}

}  // namespace tools
