// `quorvex ring`: what lies in a ring, live or saved.
#include <cstdio>
#include <memory>
#include <string>

#include "inspection/ring/ringview.h"
#include "platform/clock.h"
#include "tools/command.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"

namespace tools {
namespace {

constexpr int kStatusFaults = 1;
constexpr std::uint32_t kLookAgainMs = 500;
constexpr std::uint32_t kNapMs = 50;

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex ring                    look at the running agent's ring, twice\n"
    "  quorvex ring --watch            look again each second until Ctrl-C\n"
    "  quorvex ring --save ring.bin    keep a copy for later, or for somebody else\n"
    "  quorvex ring ring.bin --json    look at such a copy; for a program to read\n"
    "\n"
    "The ring is mapped for reading only: traffic isn't disturbed. A live ring with\n"
    "anything in it is looked at a second time after half a second, since only what\n"
    "stays is a fault; of a saved one there is only one look.\n"
    "Exit status: 0 no fault, 1 faults found, 2 the file is no ring or can't be read,\n"
    "3 usage, or no agent is running.";

struct RingOptions {
  std::string file;
  std::string save;
  std::string ring = channel::kRingName;
  bool watch = false;
  bool json = false;
};

class RingRun {
 public:
  explicit RingRun(const RingOptions& options) : m_options(options) {}

  int Run() {
    if (!m_options.file.empty()) return LookAtFile();
    const tools::system::StopSignal stop;
    int status = kStatusDone;
    do {
      if (m_options.watch && !m_options.json &&
          tools::system::IsTerminal(tools::system::Stream::kOutput)) {
        Print("\x1b[H\x1b[2J");
      }
      status = LookAtLive();
    } while (m_options.watch && Wait(stop, 2 * kLookAgainMs));
    return m_options.watch ? kStatusDone : status;
  }

 private:
  static void Print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  }

  static bool Wait(const tools::system::StopSignal& stop, std::uint32_t milliseconds) {
    for (std::uint32_t waited = 0; waited < milliseconds && !stop.Flag(); waited += kNapMs) {
      platform::clock.Sleep(kNapMs);
    }
    return !stop.Flag();
  }

  int Show(const std::string& source, const inspection::ring::Snapshot& now,
           const inspection::ring::Snapshot* before, std::uint32_t elapsedMs) const {
    const std::vector<inspection::ring::Finding> findings =
        inspection::ring::Diagnose(now, before, elapsedMs);
    Print(m_options.json ? inspection::ring::ReportJson(source, now, findings) + "\n"
                         : inspection::ring::ReportText(source, now, findings));
    if (!now.unreadable.empty()) return kStatusUnreadable;
    for (const inspection::ring::Finding& finding : findings) {
      if (finding.isFault) return kStatusFaults;
    }
    return kStatusDone;
  }

  int LookAtFile() const {
    inspection::ring::Bytes bytes;
    std::string error;
    if (!inspection::ring::ReadSavedRing(m_options.file, &bytes, &error)) {
      throw CommandError(error, kStatusUnreadable);
    }
    return Show(m_options.file, inspection::ring::Decode(bytes), nullptr, 0);
  }

  inspection::ring::Bytes ReadLive() const {
    inspection::ring::Bytes bytes;
    std::string error;
    if (!inspection::ring::ReadLiveRing(m_options.ring, &bytes, &error)) {
      throw CommandError(error, kStatusUsage);
    }
    return bytes;
  }

  int LookAtLive() const {
    inspection::ring::Bytes bytes = ReadLive();
    const inspection::ring::Snapshot before = inspection::ring::Decode(bytes);
    const std::uint32_t began = platform::clock.GetTickCount();
    const bool isIdle = before.entries.empty() && before.header.usedBytes == 0;
    if (!isIdle) {
      platform::clock.Sleep(kLookAgainMs);
      bytes = ReadLive();
    }
    std::string error;
    if (!m_options.save.empty() && !inspection::ring::SaveRing(m_options.save, bytes, &error)) {
      throw CommandError(error, kStatusUsage);
    }
    return Show(m_options.ring, isIdle ? before : inspection::ring::Decode(bytes),
                isIdle ? nullptr : &before, platform::clock.GetTickCount() - began);
  }

  const RingOptions& m_options;
};

}  // namespace

void AddRingCommand(CLI::App& app, int* status) {
  auto options = std::make_shared<RingOptions>();
  CLI::App* const command =
      app.add_subcommand("ring", "Look into the ring between add-in and agent, live or saved");
  command->footer(kHelp);
  CLI::Option* const file =
      command->add_option("FILE", options->file, "A saved ring; without it the live one");
  command->add_flag("--watch", options->watch, "Look again each second until Ctrl-C")
      ->excludes(file);
  command->add_option("--save", options->save, "Save a copy of the live ring to this file")
      ->type_name("FILE")
      ->excludes(file);
  command->add_flag("--json", options->json, "One JSON object a look instead of text");
  command->add_option("--ring", options->ring, "Another name for the live ring")
      ->type_name("NAME")
      ->excludes(file);
  command->callback([options, status] { *status = RingRun(*options).Run(); });
}

}  // namespace tools
