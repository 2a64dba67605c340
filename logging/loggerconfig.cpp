#include "logging/loggerconfig.h"

#include <algorithm>
#include <array>
#include <utility>

#include "logging/moduleloginfo.h"
#include "logging/runtimetext.h"
#include "logging/vrklogger.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "text/textconversion.h"

namespace logging {

namespace {

// Takes the next token from `rest`. Returns false if there is none or it doesn't fit a field of
// `size` bytes.
bool TakeToken(std::string_view* rest, std::size_t size, std::string* field) {
  const auto* const begin = std::find_if_not(rest->begin(), rest->end(), IsSpace);
  const auto* const end = std::find_if(begin, rest->end(), IsSpace);
  const auto length = static_cast<std::size_t>(end - begin);
  if (length == 0 || length >= size) return false;
  field->assign(begin, end);
  rest->remove_prefix(static_cast<std::size_t>(end - rest->begin()));
  return true;
}

}  // namespace

bool ConfigLines::Next(std::string_view* line) {
  std::string_view piece;
  if (!m_lines.NextPiece(kConfigLineSize - 1, &piece)) return false;
  *line = piece.substr(0, piece.find('\0'));
  return true;
}

bool IsConfigComment(std::string_view line) {
  return line.empty() || line.front() == ';';
}

ConfigFields ScanConfigLine(std::string_view line) {
  ConfigFields fields;
  if (TakeToken(&line, kModuleFieldSize, &fields.module) &&
      TakeToken(&line, kMaskFieldSize, &fields.mask) &&
      TakeToken(&line, kTypeFieldSize, &fields.type)) {
    TakeToken(&line, kParameterFieldSize, &fields.parameter);
  }
  return fields;
}

bool RecoverFileParameter(std::string_view line, ConfigFields* fields) {
  if (fields->parameter.empty() || !EqualsIgnoringCase(fields->type, "File")) return true;
  // The parameter isn't empty, so this stops before the start of the line.
  line = line.substr(0, line.find_last_not_of("\t\n\r ") + 1);
  const std::string_view whole = line.substr(line.find(fields->parameter));
  if (whole.size() >= kParameterFieldSize) {
    fields->parameter.clear();
    return false;
  }
  fields->parameter = std::string(whole);
  return true;
}

}  // namespace logging

namespace {

// The path of the add-in's Logger.cfg, or empty if the system directory is unknown.
std::string DefaultConfigPath() {
  std::array<char, platform::kMaxPath> directory{};
  const std::uint32_t length =
      platform::folders.GetSystemDirectoryA(directory.data(), platform::kMaxPath);
  if (length == 0 || length >= platform::kMaxPath) return {};
  return std::string(directory.data()) + "\\Logger.cfg";
}

// Scans a line. For a file, also recovers the whole path and adds it to `logFiles`.
bool ReadFields(std::string_view line, logging::ConfigFields* fields,
                std::set<platform::WideString>* logFiles) {
  *fields = logging::ScanConfigLine(line);
  if (!logging::RecoverFileParameter(line, fields)) return false;
  if (fields->parameter.empty() || !logging::EqualsIgnoringCase(fields->type, "File")) return true;
  platform::WideString wide = Utf8ToWide(fields->parameter);
  if (!wide.empty()) logFiles->insert(std::move(wide));
  return true;
}

int AddConfiguredStream(CVRKLogger& logger, const logging::ConfigFields& fields) {
  return logger.AddStream(fields.module.c_str(), logging::ToInteger(fields.mask.c_str()),
                          fields.type.c_str(), fields.parameter.c_str());
}

}  // namespace

int CVRKLogger::LoadConfig() {
  const std::string path = DefaultConfigPath();
  return path.empty() ? 0 : LoadConfigFile(path.c_str());
}

int CVRKLogger::LoadConfigFile(const char* path) {
  if (path == nullptr || *path == '\0') return 0;
  logging::ConfigLines lines(path);
  if (!lines.IsOpen()) return 0;
  RemoveAllModules();
  m_logFiles.clear();

  int result = 1;
  std::string_view line;
  while (lines.Next(&line)) {
    if (logging::IsConfigComment(line)) continue;
    logging::ConfigFields fields;
    if (!ReadFields(line, &fields, &m_logFiles)) {
      result = 0;
    } else if (!fields.module.empty() && AddConfiguredStream(*this, fields) == 0) {
      result = 0;
    }
  }
  return result;
}

int CVRKLogger::LoadModuleConfig(const char* module) {
  if (module == nullptr) return 0;
  const std::string path = DefaultConfigPath();
  if (path.empty()) return 0;
  {
    const std::lock_guard lock(*m_cs);
    if (FindModule(module) != nullptr) return 1;
  }
  return LoadModuleConfigFile(path.c_str(), module);
}

int CVRKLogger::LoadModuleConfigFile(const char* path, const char* module) {
  if (path == nullptr || *path == '\0' || module == nullptr || *module == '\0') return 0;
  logging::ConfigLines lines(path);
  if (!lines.IsOpen()) return 0;
  std::string_view line;
  while (lines.Next(&line)) {
    if (logging::IsConfigComment(line)) continue;
    logging::ConfigFields fields;
    const bool readable = ReadFields(line, &fields, &m_logFiles);
    if (!logging::EqualsIgnoringCase(fields.module, module)) continue;
    return readable ? AddConfiguredStream(*this, fields) : 0;
  }
  return 0;
}
