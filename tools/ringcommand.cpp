// `quorvex ring`: shows what is in a ring, live or saved.
#include <cstdio>
#include <memory>
#include <string>

#include "inspection/ring/ringview.h"
#include "platform/clock.h"
#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/outputline.h"
#include "tools/ringreport.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"

namespace tools {
namespace {

constexpr std::uint32_t kLookAgainMs = 500;
constexpr std::uint32_t kSleepMs = 50;

constexpr const char* kRingHelp =
    "Examples:\n"
    "  quorvex ring                    look at the running agent's ring, twice\n"
    "  quorvex ring --watch            look again each second until Ctrl-C\n"
    "  quorvex ring --save ring.bin    save a copy for later, or for a colleague\n"
    "  quorvex ring ring.bin --json    look at such a copy; for a program to read\n"
    "\n"
    "The ring is mapped for reading only, so traffic isn't disturbed. A live ring\n"
    "that isn't empty is read again after half a second, because only what stays is\n"
    "a fault. A saved ring can be read only once.\n"
    "Exit status: 0 no fault, 1 faults found, 2 the file is no ring or can't be read,\n"
    "3 wrong usage, or no agent is running.";

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
    for (std::uint32_t waited = 0; waited < milliseconds && !stop.Flag(); waited += kSleepMs) {
      platform::clock.Sleep(kSleepMs);
    }
    return !stop.Flag();
  }

  int Show(const std::string& source, const inspection::ring::Snapshot& now,
           const inspection::ring::Snapshot* before, std::uint32_t elapsedMs) const {
    const std::vector<inspection::ring::Finding> findings =
        inspection::ring::Diagnose(now, before, elapsedMs);
    Print(m_options.json ? RingReportJson(source, now, findings) + "\n"
                         : RingReportText(source, now, findings, OutputWidth(30)));
    if (!now.unreadable.empty()) return kStatusUnreadable;
    for (const inspection::ring::Finding& finding : findings) {
      if (finding.isFault) return kStatusFindings;
    }
    return kStatusDone;
  }

  int LookAtFile() const {
    RequireFile(m_options.file, kStatusUnreadable);
    inspection::ring::Bytes bytes;
    if (!inspection::ring::ReadSavedRing(m_options.file, &bytes)) {
      RefuseFile(m_options.file, kStatusUnreadable);
    }
    return Show(m_options.file, inspection::ring::Decode(bytes), nullptr, 0);
  }

  inspection::ring::Bytes ReadLive() const {
    inspection::ring::Bytes bytes;
    std::string error;
    if (!inspection::ring::ReadLiveRing(m_options.ring, &bytes, &error)) {
      throw CommandError(error);
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
    if (!m_options.save.empty() && !inspection::ring::SaveRing(m_options.save, bytes)) {
      throw CommandError(m_options.save + ": can't be written");
    }
    inspection::ring::Snapshot now = isIdle ? before : inspection::ring::Decode(bytes);
    inspection::ring::ReadBlocks(&now);
    return Show(m_options.ring, now, isIdle ? nullptr : &before,
                platform::clock.GetTickCount() - began);
  }

  const RingOptions& m_options;
};

}  // namespace

Command RingCommand() {
  auto options = std::make_shared<RingOptions>();
  return {
      .name = "ring",
      .summary = "Look into the ring between add-in and agent, live or saved",
      .footer = kRingHelp,
      .options = {{.name = "FILE",
                   .target = &options->file,
                   .help = "A saved ring; without it the live one"},
                  {.name = "--watch",
                   .target = &options->watch,
                   .help = "Look again each second until Ctrl-C",
                   .excludes = "FILE"},
                  {.name = "--save",
                   .target = &options->save,
                   .help = "Save a copy of the live ring to this file",
                   .valueName = "FILE",
                   .excludes = "FILE"},
                  {.name = "--json",
                   .target = &options->json,
                   .help = "One JSON object a look instead of text"},
                  {.name = "--ring",
                   .target = &options->ring,
                   .help = "Another name for the live ring",
                   .valueName = "NAME",
                   .excludes = "FILE"}},
      .run = [options] { return RingRun(*options).Run(); },
  };
}

}  // namespace tools
