// `quorvex doctor`: whether the add-in works on this PC, or on the one that a bundle describes.
#include <fmt/format.h>

#include <memory>
#include <string>

#include "channel/protocol.h"
#include "inspection/doctor/judge.h"
#include "tools/bundlefile.h"
#include "tools/command.h"
#include "tools/doctorreport.h"
#include "tools/inputfile.h"
#include "tools/machinegathering.h"
#include "tools/outputline.h"
#include "tools/text.h"

namespace tools {

namespace {

constexpr const char* kDoctorHelp =
    "Examples:\n"
    "  quorvex doctor                        is it working on this PC (Windows)\n"
    "  quorvex doctor --json                 the same for a program\n"
    "  quorvex doctor --describe >pc17.json  only the facts\n"
    "  quorvex doctor pc17.json              judge them elsewhere, on any system\n"
    "  quorvex doctor pc17.zip               the same with a bundle\n"
    "\n"
    "Looks at Outlook, the library, everything that decides whether Outlook loads it,\n"
    "both settings files, the log's folder, the agent, and the temporary folder.\n"
    "Changes nothing and ends within 5 seconds. The agent is asked one request, the\n"
    "end of a mail without items; --no-request leaves that out. Run it as the user\n"
    "whose Outlook doesn't work.\n"
    "Exit status: 0 working (notes don't count), 1 findings, 3 wrong usage, or the\n"
    "file is no description.";

struct DoctorOptions {
  std::string file;
  std::string ring = channel::kRingName;
  bool withoutRequest = false;
  bool describe = false;
  bool json = false;
};

// The description that a bundle has, or the file itself.
std::string DescriptionIn(const std::string& path) {
  RequireFile(path, kStatusUsage);
  if (!IsBundle(path)) {
    RequireTextFile(path, kStatusUsage);
    return ReadWholeFile(path, kStatusUsage);
  }
  for (inspection::bundle::ZipEntry& entry : ReadBundle(path, kStatusUsage)) {
    if (entry.name == kBundleMachine) return std::move(entry.bytes);
  }
  throw CommandError(Printable(path) + ": this bundle has no description of a PC");
}

inspection::doctor::Machine MachineOf(const DoctorOptions& options) {
  inspection::doctor::Machine machine;
  if (options.file.empty()) {
    MachineSources sources;
    if (!sources.facts().isWindows) {
      throw CommandError("this isn't Windows; give a description or a bundle from there");
    }
    sources.ring = options.ring;
    sources.asksTheAgent = !options.withoutRequest;
    return DescribeMachine(sources);
  }
  std::string error;
  if (!inspection::doctor::ReadMachine(DescriptionIn(options.file), &machine, &error)) {
    throw CommandError(Printable(options.file) + ": " + Shortened(error, 200));
  }
  return machine;
}

int RunDoctor(const DoctorOptions& options) {
  const inspection::doctor::Machine machine = MachineOf(options);
  if (options.describe) {
    fmt::print("{}", inspection::doctor::MachineJson(machine));
    return kStatusDone;
  }
  const auto findings = inspection::doctor::Judge(machine);
  fmt::print("{}", options.json ? DoctorReportJson(machine, findings) + "\n"
                                : DoctorReportText(machine, findings, OutputWidth(30)));
  return inspection::doctor::Verdict(findings) == "working" ? kStatusDone : kStatusFindings;
}

}  // namespace

Command DoctorCommand() {
  auto options = std::make_shared<DoctorOptions>();
  return {
      .name = "doctor",
      .summary = "Tell whether the add-in works on this PC",
      .footer = kDoctorHelp,
      .options = {{.name = "FILE",
                   .target = &options->file,
                   .help = "A description or bundle of another PC; without it this one"},
                  {.name = "--json", .target = &options->json, .help = "For a program to read"},
                  {.name = "--describe",
                   .target = &options->describe,
                   .help = "Print the facts as JSON and don't judge them"},
                  {.name = "--no-request",
                   .target = &options->withoutRequest,
                   .help = "Don't ask the agent anything",
                   .excludes = "FILE"},
                  {.name = "--ring",
                   .target = &options->ring,
                   .help = "Another name for the ring",
                   .valueName = "NAME",
                   .excludes = "FILE"}},
      .run = [options] { return RunDoctor(*options); },
  };
}

}  // namespace tools
