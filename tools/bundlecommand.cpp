// `quorvex bundle`: packs what support needs to see.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "channel/protocol.h"
#include "inspection/bundle/redactor.h"
#include "inspection/doctor/judge.h"
#include "inspection/logs/logline.h"
#include "inspection/logs/logreader.h"
#include "inspection/ring/ringview.h"
#include "tools/bundlefile.h"
#include "tools/command.h"
#include "tools/doctorreport.h"
#include "tools/inputfile.h"
#include "tools/json.h"
#include "tools/machinegathering.h"
#include "tools/text.h"
#include "tools/timeargument.h"

namespace tools {

namespace {

using inspection::bundle::Redactor;
using inspection::bundle::ZipEntry;

constexpr const char* kBundleHelp =
    "Examples:\n"
    "  quorvex bundle pc17.zip                      on the PC (Windows)\n"
    "  quorvex bundle pc17.zip --since 2026-11-20   only what was logged since then\n"
    "  quorvex bundle logs.zip --log mail.PC17_0.log   these logs, on any system\n"
    "  quorvex doctor pc17.zip                      judge the PC, on any system\n"
    "  quorvex log explain pc17.zip                 what became of each mail\n"
    "\n"
    "The bundle has doctor's result and facts, both settings files, the logs that\n"
    "Logger.cfg names, the ring, and the versions. Addresses, names, subjects, bodies\n"
    "and file names are replaced, the same text by the same token everywhere. Then\n"
    "the bundle is searched for everything that was replaced; it isn't written if\n"
    "something is found. --with-content replaces nothing.\n"
    "Exit status: 0 written, 1 not written, because a replaced text was found,\n"
    "3 wrong usage, or a file can't be read or written.";

struct BundleOptions {
  std::string output;
  std::vector<std::string> logs;
  std::string machine;
  std::string since;
  std::string ring = channel::kRingName;
  bool keepsDomains = false;
  bool withContent = false;
};

class Bundle {
 public:
  explicit Bundle(const BundleOptions& options)
      : m_options(options), m_redactor(options.keepsDomains) {
    if (!options.since.empty()) m_since = TimeArgument(options.since, "--since");
  }

  int Run() {
    AddMachine();
    AddRing();
    for (const std::string& path : m_options.logs) {
      RequireFile(path, kStatusUsage);
      AddLog(path);
    }
    m_redactor.KeepWordsOf(ManifestText(Json::Array().Add(FileJson({}))));
    if (!m_options.withContent) ReplaceEverywhere();
    AddManifest();
    const std::size_t found = m_options.withContent ? 0 : CountSecrets();
    if (found > 0) {
      fmt::print(stderr,
                 "quorvex bundle: not written: {} of replaced text in it; please report this\n",
                 Counted(found, "occurrence"));
      return kStatusFindings;
    }
    Write();
    return kStatusDone;
  }

 private:
  std::string Redacted(const std::string& text) {
    return m_options.withContent ? text : m_redactor.Text(text);
  }

  void Add(const std::string& name, std::string bytes) {
    m_entries.push_back({name, std::move(bytes)});
  }

  // Texts that aren't from mails: their words may stay.
  void AddPlain(const std::string& name, const std::string& text) {
    std::string redacted = Redacted(text);
    m_redactor.KeepWordsOf(redacted);
    Add(name, std::move(redacted));
  }

  void AddMachine() {
    inspection::doctor::Machine machine;
    MachineSources sources;
    sources.ring = m_options.ring;
    if (!m_options.machine.empty()) {
      std::string error;
      const std::string json = ReadWholeFile(m_options.machine, kStatusUsage);
      if (!inspection::doctor::ReadMachine(json, &machine, &error)) {
        throw CommandError(Printable(m_options.machine) + ": " + Shortened(error, 200));
      }
    } else if (sources.facts().isWindows) {
      machine = DescribeMachine(sources);
      AddSettingsAndLogs(machine);
    } else {
      return;
    }
    const auto findings = Judge(machine);
    AddPlain(kBundleMachine, MachineJson(machine));
    AddPlain("doctor.txt", DoctorReportText(machine, findings, kUnbroken));
    AddPlain("doctor.json", DoctorReportJson(machine, findings) + "\n");
  }

  void AddSettingsAndLogs(const inspection::doctor::Machine& machine) {
    for (const auto* const files : {&machine.settings, &machine.loggers}) {
      for (const auto& file : *files) {
        if (!file.isThere || !file.problem.empty()) continue;
        const std::string name = file.path.substr(file.path.find_last_of("/\\") + 1);
        AddPlain(fmt::format("settings/{}-bit/{}", file.bits, name),
                 ReadWholeFile(file.path, kStatusUsage));
      }
    }
    std::set<std::string> folders;
    for (const auto& folder : machine.logFolders) folders.insert(folder.path);
    for (const std::string& folder : folders) AddLogsOf(folder, machine.computer);
  }

  // The logger names its files "mail.PC17_0.log".
  void AddLogsOf(const std::string& folder, const std::string& computer) {
    std::error_code error;
    std::filesystem::directory_iterator entries(PathOf(folder), error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
      const std::u8string path = entries->path().u8string();
      const std::string text(path.begin(), path.end());
      const bool isLog = text.ends_with(".log") && text.find("." + computer + "_") != text.npos;
      if (isLog) AddLog(text);
    }
  }

  void AddLog(const std::string& path) {
    std::ifstream file(PathOf(path), std::ios::binary);
    if (!file) RefuseFile(path, kStatusUsage);
    inspection::logs::LogReader reader(file);
    std::string log;
    std::string buffer;
    bool isWanted = m_since.empty();
    for (std::string_view line; reader.Next(&line);) {
      if (!m_since.empty()) {
        // A line without a time belongs to the line before it.
        const auto parsed = inspection::logs::ParseSourceLine(line, &buffer);
        if (parsed) isWanted = inspection::logs::SortableTime(parsed->line) >= m_since;
      }
      if (!isWanted) continue;
      log += m_options.withContent ? std::string(line) : m_redactor.LogLine(line);
      log += "\r\n";
    }
    if (!reader.Error().empty()) throw CommandError(Printable(path) + ": " + reader.Error());
    std::string name = path.substr(path.find_last_of("/\\") + 1);
    if (name.ends_with(".gz")) name.resize(name.size() - 3);
    std::string unique = kBundleLogs + name;
    for (int i = 2; HasEntry(unique); ++i) unique = fmt::format("{}{}/{}", kBundleLogs, i, name);
    Add(unique, std::move(log));
  }

  bool HasEntry(const std::string& name) const {
    return std::any_of(m_entries.begin(), m_entries.end(),
                       [&](const ZipEntry& entry) { return entry.name == name; });
  }

  void AddRing() {
    inspection::ring::Bytes bytes;
    std::string error;
    if (inspection::ring::ReadLiveRing(m_options.ring, &bytes, &error)) {
      Add("ring.bin", {bytes.begin(), bytes.end()});
    }
  }

  void ReplaceEverywhere() {
    for (ZipEntry& entry : m_entries) {
      if (entry.name != "ring.bin") entry.bytes = m_redactor.WithoutSecrets(entry.bytes);
    }
  }

  std::size_t CountSecrets() {
    std::size_t count = 0;
    for (const ZipEntry& entry : m_entries) {
      const std::size_t found =
          m_redactor.CountSecrets(entry.name) + m_redactor.CountSecrets(entry.bytes);
      if (found > 0) {
        fmt::print(stderr, "quorvex bundle: {}: {}\n", entry.name, Counted(found, "replaced text"));
      }
      count += found;
    }
    return count;
  }

  static Json FileJson(const ZipEntry& entry) {
    return Json::Object().Add("name", entry.name).Add("bytes", entry.bytes.size());
  }

  std::string ManifestText(const Json& files) {
    Json replaced = Json::Object();
    for (const auto& [kind, count] : m_redactor.Counts()) replaced.Add(kind, count);
    return Json::Object()
               .Add("format", 1)
               .Add("tool", std::string("quorvex ") + QUORVEX_VERSION)
               .Add("with_content", m_options.withContent)
               .Add("domains_kept", m_options.keepsDomains)
               .Add("since", m_options.since)
               .Add("replaced", replaced)
               .Add("not_searched_for", m_redactor.Unsearched())
               .Add("files", files)
               .Text() +
           "\n";
  }

  void AddManifest() {
    Json files = Json::Array();
    for (const ZipEntry& entry : m_entries) files.Add(FileJson(entry));
    Add(kBundleManifest, ManifestText(files));
  }

  void Write() {
    std::ofstream file(PathOf(m_options.output), std::ios::binary | std::ios::trunc);
    const std::string bytes = inspection::bundle::WriteZip(m_entries);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw CommandError(Printable(m_options.output) + ": can't be written");
    std::size_t replaced = 0;
    for (const auto& [kind, count] : m_redactor.Counts()) replaced += count;
    fmt::print("{}: {}, {} bytes\n", Printable(m_options.output), Counted(m_entries.size(), "file"),
               bytes.size());
    if (m_options.withContent) {
      fmt::print("nothing was replaced: it has addresses, names and texts of mails\n");
    } else {
      fmt::print(
          "{} replaced, none of them found in the bundle; {} too short or too ordinary\n"
          "to search for\n",
          Counted(replaced, "text"), m_redactor.Unsearched());
    }
  }

  const BundleOptions& m_options;
  Redactor m_redactor;
  std::string m_since;
  std::vector<ZipEntry> m_entries;
};

}  // namespace

Command BundleCommand() {
  auto options = std::make_shared<BundleOptions>();
  return {
      .name = "bundle",
      .summary = "Pack what support needs to see, without what mails say",
      .footer = kBundleHelp,
      .options = {{.name = "FILE",
                   .target = &options->output,
                   .help = "The .zip file to write",
                   .required = true},
                  {.name = "--since",
                   .target = &options->since,
                   .help = "Only what was logged from this time on (2026-11-21T14:30)",
                   .valueName = "TIME"},
                  {.name = "--log",
                   .target = &options->logs,
                   .help = "Also these files of the add-in's log",
                   .valueName = "FILE"},
                  {.name = "--machine",
                   .target = &options->machine,
                   .help = "A description (doctor --describe) instead of this PC",
                   .valueName = "FILE"},
                  {.name = "--keep-domains",
                   .target = &options->keepsDomains,
                   .help = "Keep what is after the @ of an address"},
                  {.name = "--with-content",
                   .target = &options->withContent,
                   .help = "Replace nothing",
                   .excludes = "--keep-domains"},
                  {.name = "--ring",
                   .target = &options->ring,
                   .help = "Another name for the ring",
                   .valueName = "NAME"}},
      .run = [options] { return Bundle(*options).Run(); },
  };
}

}  // namespace tools
