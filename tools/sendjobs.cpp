#include "tools/sendjobs.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "platform/process.h"
#include "tools/agentrules.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/json.h"
#include "tools/system/childprocess.h"
#include "tools/system/commandline.h"
#include "tools/system/terminal.h"

namespace tools {
namespace {

using inspection::checked::Checked;
using inspection::comparison::kCheckedLevels;
using inspection::comparison::kOutcomes;
using inspection::comparison::Outcome;
using tools::system::ChildProcess;

// How long to wait for a line before looking at the stop signal again.
constexpr std::uint32_t kLookMs = 200;
constexpr std::uint32_t kJobEndMs = 10'000;

// The kinds of lines.
constexpr char kResult = 'j';
constexpr char kReport = 't';
constexpr char kLog = 'l';
constexpr char kComplaint = 'c';
constexpr char kEnd = 'e';

std::string Line(char kind, const std::string& text) {
  return text.empty() ? std::string() : kind + Json(text).Text() + "\n";
}

std::string TextIn(std::string_view json) {
  return nlohmann::json::parse(json).get<std::string>();
}

// A list on standard input, in a file that several jobs can read.
class ListFile {
 public:
  explicit ListFile(const std::string& filesFrom) : m_path(filesFrom) {
    if (filesFrom != "-") return;
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("quorvex-list-" + std::to_string(platform::process.GetCurrentProcessId()));
    const std::u8string name = path.u8string();
    m_path.assign(name.begin(), name.end());
    m_isCopy = true;
    tools::system::ReadBinaryInput();
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    // Copying nothing would count as a failure.
    if (std::cin.peek() != std::istream::traits_type::eof()) file << std::cin.rdbuf();
    file.close();
    if (!file) throw CommandError(m_path + ": can't be written");
  }
  ~ListFile() {
    std::error_code error;
    if (m_isCopy) std::filesystem::remove(PathOf(m_path), error);
  }
  ListFile(const ListFile&) = delete;
  ListFile& operator=(const ListFile&) = delete;

  // Empty without a list.
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
  bool m_isCopy = false;
};

std::vector<std::string> Arguments(const SendOptions& options, const std::string& list,
                                   const Job& job) {
  std::vector<std::string> arguments = {"send", "--job", TextOf(job), "--host-version",
                                        options.hostVersion};
  if (!options.rules.empty()) arguments.insert(arguments.end(), {"--rules", options.rules});
  if (options.useRunningAgent)
    arguments.insert(arguments.end(), {"--agent", "--ring", options.ring});
  if (options.fast) arguments.emplace_back("--fast");
  if (!list.empty()) arguments.insert(arguments.end(), {"--files-from", list});
  arguments.emplace_back("--");
  arguments.insert(arguments.end(), options.mails.begin(), options.mails.end());
  return arguments;
}

enum class Next { kMail, kDone, kStopped };

// One job's process and what has been read of its next mail.
class RunningJob {
 public:
  explicit RunningJob(const std::vector<std::string>& arguments) {
    std::string error;
    if (!m_child.Start(tools::system::OwnProgramPath(), arguments, &error)) {
      throw CommandError(error);
    }
  }

  Next Read(const tools::system::StopSignal& stop) {
    m_reader.Clear();
    std::string line;
    while (!stop.Flag()) {
      const ChildProcess::ReadResult result = m_child.ReadLine(&line, kLookMs);
      if (result == ChildProcess::ReadResult::kTimeOut) continue;
      if (result == ChildProcess::ReadResult::kEnd) return ReadEnd();
      if (line == kJobDone) {
        // It only has to clean up. Killed meanwhile, it could leave something or complain.
        int status = -1;
        m_child.WaitForEnd(kJobEndMs, &status);
        return Next::kDone;
      }
      if (m_reader.Take(line)) return Next::kMail;
    }
    return Next::kStopped;
  }
  const SentMail& Mail() const { return m_reader.Mail(); }

 private:
  // A terminal's Ctrl-C may reach the job first.
  Next ReadEnd() {
    int status = -1;
    const bool hasEnded = m_child.WaitForEnd(kJobEndMs, &status);
    if (hasEnded && status == kStatusInterrupted) return Next::kStopped;
    throw CommandError(fmt::format("a job ended early, with status {}", status));
  }

  ChildProcess m_child;
  JobReader m_reader;
};

}  // namespace

std::string TextOf(const Job& job) {
  return fmt::format("{} {} {:d} {:d} {:d} {:d} {:d} {}", job.part.index, job.part.jobs,
                     job.wanted.json, job.wanted.report, job.wanted.log, job.wanted.complaint,
                     job.style.colour, job.style.width);
}

std::optional<Job> JobOf(const std::string& text) {
  Job job;
  std::istringstream words(text);
  words >> job.part.index >> job.part.jobs >> job.wanted.json >> job.wanted.report >>
      job.wanted.log >> job.wanted.complaint >> job.style.colour >> job.style.width;
  const bool isWhole = !words.fail() && words.peek() == std::istringstream::traits_type::eof();
  if (!isWhole || job.part.index >= job.part.jobs) return std::nullopt;
  return job;
}

std::string JobLines(const SentMail& mail) {
  std::string lines = mail.json.empty() ? std::string() : kResult + mail.json + "\n";
  lines += Line(kReport, mail.report) + Line(kLog, mail.log) + Line(kComplaint, mail.complaint);
  return lines + fmt::format("{}{} {}\n", kEnd, static_cast<int>(mail.outcome),
                             static_cast<int>(mail.checked));
}

bool JobReader::Take(std::string_view line) {
  const char kind = line.empty() ? '\0' : line.front();
  if (!line.empty()) line.remove_prefix(1);
  if (kind == kResult) {
    m_mail.json = line;
  } else if (kind == kReport) {
    m_mail.report = TextIn(line);
  } else if (kind == kLog) {
    m_mail.log = TextIn(line);
  } else if (kind == kComplaint) {
    m_mail.complaint = TextIn(line);
  } else if (kind == kEnd && line.size() == 3) {
    const int outcome = line[0] - '0';
    const int checked = line[2] - '0';
    if (outcome < 0 || outcome >= static_cast<int>(kOutcomes) || checked < 0 ||
        checked >= static_cast<int>(kCheckedLevels)) {
      throw std::runtime_error("a job's outcome is unknown");
    }
    m_mail.outcome = static_cast<Outcome>(outcome);
    m_mail.checked = static_cast<Checked>(checked);
    return true;
  } else {
    throw std::runtime_error("a job's output can't be understood");
  }
  return false;
}

void SendInJobs(const SendOptions& options, const WantedTexts& wanted, const ReportStyle& style,
                const tools::system::StopSignal& stop,
                const std::function<void(const SentMail&)>& take) {
  if (std::find(options.mails.begin(), options.mails.end(), "-") != options.mails.end()) {
    throw CommandError("several jobs can't share a mail from standard input; save it to a file");
  }
  ReadRules(options.rules, false);  // so that mistakes are reported once
  const ListFile list(options.filesFrom);
  std::vector<std::unique_ptr<RunningJob>> jobs;
  for (std::size_t i = 0; i < options.jobs; ++i) {
    jobs.push_back(std::make_unique<RunningJob>(
        Arguments(options, list.Path(), {{i, options.jobs}, wanted, style})));
  }
  Next next = Next::kMail;
  std::size_t at = 0;
  while ((next = jobs[at]->Read(stop)) == Next::kMail) {
    take(jobs[at]->Mail());
    at = (at + 1) % jobs.size();
  }
  for (std::size_t i = 1; next == Next::kDone && i < jobs.size(); ++i) {
    next = jobs[(at + i) % jobs.size()]->Read(stop);
    if (next == Next::kMail) throw CommandError("the mails have changed during the run");
  }
}

}  // namespace tools
