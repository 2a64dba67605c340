#include "tools/filelook.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "inspection/doctor/libraryimage.h"
#include "inspection/logs/loggercheck.h"
#include "inspection/settings/settingscheck.h"
#include "logging/runtimetext.h"
#include "logging/vrklogger.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "text/textconversion.h"
#include "tools/inputfile.h"
#include "tools/machinegathering.h"

namespace tools {

namespace {

using inspection::doctor::Machine;
using inspection::doctor::SettingsFile;

constexpr std::size_t kMostRemarks = 10;
constexpr std::chrono::hours kLeftoverAge{1};

// On POSIX, "\" is a separator too, as in platform/files.h.
std::filesystem::path FileOf(std::string path) {
  if (std::filesystem::path::preferred_separator == '/') {
    std::replace(path.begin(), path.end(), '\\', '/');
  }
  return PathOf(path);
}

bool IsSystemLibrary(const std::string& name) {
  const std::string begin = name.substr(0, 7);
  return begin == "api-ms-" || begin == "ext-ms-";
}

std::string ReasonOf(const std::error_code& error) {
  return error == std::errc::permission_denied ? "access is denied" : error.message();
}

// Sets isThere and problem.
void LookFor(SettingsFile* file) {
  std::error_code error;
  const auto status = std::filesystem::status(FileOf(file->path), error);
  file->isThere = std::filesystem::is_regular_file(status);
  if (status.type() == std::filesystem::file_type::none ||
      status.type() == std::filesystem::file_type::unknown) {
    file->problem = ReasonOf(error);
  } else if (file->isThere && !std::ifstream(FileOf(file->path), std::ios::binary)) {
    file->problem = "access is denied";
  }
}

void AddRemark(std::string remark, std::vector<std::string>* remarks) {
  if (remarks->size() == kMostRemarks) remarks->push_back("and more");
  if (remarks->size() < kMostRemarks) remarks->push_back(std::move(remark));
}

std::optional<std::uint64_t> FreeBytes(const std::filesystem::path& folder) {
  std::error_code error;
  const std::filesystem::space_info space = std::filesystem::space(folder, error);
  if (error) return std::nullopt;
  return space.available;
}

void AddLogFolder(const std::string& file, int bits, Machine* machine) {
  inspection::doctor::LogFolder folder;
  folder.bits = bits;
  folder.path = file.substr(0, file.find_last_of("/\\"));
  const std::filesystem::path path = FileOf(folder.path);
  std::error_code error;
  folder.isThere = std::filesystem::is_directory(path, error);
  folder.isWritable = folder.isThere && system::MayCreateFiles(folder.path);
  folder.freeBytes = FreeBytes(path);
  machine->logFolders.push_back(std::move(folder));
}

void LookAtLogger(SettingsFile* file, Machine* machine) {
  using inspection::logs::LoggerLine;
  const auto take = [&](const LoggerLine& line) {
    for (const std::string& warning : line.warnings) {
      AddRemark(fmt::format("line {}: {}", line.line, warning), &file->remarks);
    }
    if (line.kind != inspection::logs::LoggerLineKind::kStream) {
      AddRemark(fmt::format("line {}: {}", line.line, line.what), &file->remarks);
    } else if (!line.file.empty() && logging::EqualsIgnoringCase(line.module, kLogModule)) {
      AddLogFolder(line.file, file->bits, machine);
    }
  };
  const auto report = inspection::logs::CheckLoggerConfig(file->path, take, false);
  for (const std::string& warning : report.onFile) AddRemark(warning, &file->remarks);
}

bool IsLeftover(const std::filesystem::directory_entry& entry) {
  const std::string name = entry.path().filename().string();
  if (!name.starts_with("ExchangeSubjectContent") && !name.starts_with("ExchangeBodyContent") &&
      !name.starts_with("OutlookAttachment.")) {
    return false;
  }
  std::error_code error;
  const auto written = entry.last_write_time(error);
  return !error && std::filesystem::file_time_type::clock::now() - written > kLeftoverAge;
}

void LookAtTemporaryFolder(inspection::doctor::TemporaryFolder* folder) {
  std::vector<platform::WideChar> buffer(32'768);
  const std::uint32_t size =
      platform::folders.GetTempPathW(static_cast<std::uint32_t>(buffer.size()), buffer.data());
  folder->path = WideToUtf8({buffer.data(), size});
  const std::filesystem::path path = FileOf(folder->path);
  std::error_code error;
  folder->isThere = std::filesystem::is_directory(path, error);
  folder->isWritable = folder->isThere && system::MayCreateFiles(folder->path);
  folder->freeBytes = FreeBytes(path);
  std::filesystem::directory_iterator entries(path, error);
  while (!error && entries != std::filesystem::directory_iterator()) {
    if (IsLeftover(*entries)) ++folder->leftovers;
    entries.increment(error);
  }
}

}  // namespace

bool IsFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(FileOf(path), error);
}

inspection::doctor::Library LookAtLibrary(
    const std::string& path, const system::SystemFacts& system,
    const std::function<system::FileSignature(const std::string& path)>& signature) {
  inspection::doctor::Library library;
  library.path = path;
  library.isThere = IsFile(path);
  if (!library.isThere) return library;
  std::ifstream file(FileOf(path), std::ios::binary);
  if (!file) {
    library.problem = "access is denied";
    return library;
  }
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const inspection::doctor::LibraryImage image = inspection::doctor::ReadLibraryImage(bytes);
  library.bits = image.bits;
  library.version = image.version;
  if (image.bits == 0) return library;
  const std::string folder = path.substr(0, path.find_last_of("/\\"));
  const std::string& systemFolder = image.bits == 64 ? system.folder64 : system.folder32;
  for (const std::string& import : image.imports) {
    if (IsSystemLibrary(import) || IsFile(folder + "\\" + import)) continue;
    if (!systemFolder.empty() && IsFile(systemFolder + "\\" + import)) continue;
    library.missing.push_back(import);
  }
  const system::FileSignature signer = signature(path);
  library.signature = image.hasSignature ? signer.state : "none";
  library.publisher = signer.publisher;
  library.isTrusted = signer.isTrusted;
  return library;
}

std::vector<std::string> SettingsRemarks(const std::string& path, bool* areValuesChecked) {
  std::vector<std::string> remarks;
  const auto report = inspection::settings::CheckSettings(path);
  for (const auto& finding : report.findings) {
    if (finding.severity == inspection::settings::Severity::kNote) continue;
    AddRemark(fmt::format("line {}: {}{}{}", finding.line, finding.key,
                          finding.key.empty() ? "" : ": ", finding.message),
              &remarks);
  }
  *areValuesChecked = report.notChecked == 0;
  return remarks;
}

void LookAtSettings(int bits, const std::string& folder, Machine* machine) {
  if (folder.empty()) return;
  SettingsFile settings;
  settings.bits = bits;
  settings.path = folder + "\\zbagent\\vrk.pro";
  LookFor(&settings);
  if (settings.isThere && settings.problem.empty()) {
    settings.remarks = SettingsRemarks(settings.path, &settings.areValuesChecked);
  }
  machine->settings.push_back(std::move(settings));
  SettingsFile logger;
  logger.bits = bits;
  logger.path = folder + "\\Logger.cfg";
  LookFor(&logger);
  if (logger.isThere && logger.problem.empty()) LookAtLogger(&logger, machine);
  machine->loggers.push_back(std::move(logger));
}

void LookAtFolders(Machine* machine) {
  LookAtTemporaryFolder(&machine->temporary);
  char folder[platform::kMaxPath] = "";
  if (platform::folders.SHGetFolderPathA(platform::kFolderAppData, folder) != 0) {
    machine->signatures.problem = "the system doesn't say where application data is";
    return;
  }
  machine->signatures.path = AnsiToUtf8(folder) + "\\Microsoft\\Signatures";
  const std::filesystem::path path = FileOf(machine->signatures.path);
  std::error_code error;
  machine->signatures.isThere = std::filesystem::is_directory(path, error);
  if (!machine->signatures.isThere) return;
  std::filesystem::directory_iterator entries(path, error);
  if (error) machine->signatures.problem = ReasonOf(error);
}

}  // namespace tools
