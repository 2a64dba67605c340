// One of the two runs that `quorvex compare` looks at.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inspection/comparison/resultreader.h"

namespace tools {

enum class RunKind {
  kRecorded,  // results in a file
  kRules,     // mails sent now, answered by a rules file
  kAgent,     // mails sent now, answered by the running agent
};

struct ComparedRun {
  RunKind kind = RunKind::kRecorded;
  std::string path;  // of the results or the rules; unused with kAgent
};

// The run that an argument of the command line means: a rules file ends in ".toml".
ComparedRun RunNamed(const std::string& argument);

// The run for a person: its path, or "the running agent".
std::string NameOf(const ComparedRun& run);

// What a run that isn't recorded sends, and how: as the options of `quorvex send`.
struct MailsToSend {
  std::vector<std::string> mails;
  std::string filesFrom;
  bool fast = false;
  std::size_t jobs = 1;

  bool IsEmpty() const { return mails.empty() && filesFrom.empty(); }
};

// Passes on every result of the run. A run that isn't recorded sends `mails`. It does so in a
// `quorvex send --json` of its own, so a comparison sees exactly what that command records. Prints
// what can't be read, and returns false if anything couldn't. Ends the command with CommandError if
// the mails can't be sent at all.
bool FeedRun(const ComparedRun& run, const MailsToSend& mails,
             inspection::comparison::ResultReader::Take take);

// The files to send so that every mail of a recording is sent again, without duplicates: of
// "archive.mbox#17" that is "archive.mbox". `names` are the mails' names.
std::vector<std::string> FilesOfMails(const std::vector<std::string>& names);

}  // namespace tools
