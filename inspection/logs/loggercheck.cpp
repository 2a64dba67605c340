#include "inspection/logs/loggercheck.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string_view>

#include "logging/loggerconfig.h"
#include "logging/runtimetext.h"
#include "logging/vrklogger.h"
#include "text/suggestion.h"
#include "text/textconversion.h"

namespace inspection::logs {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kFieldCount = 4;
// How many lines are compared with each other.
constexpr std::size_t kMaxFiles = 1000;

// Where the line's fields begin, also of those that are too long; npos for missing ones.
using Places = std::array<std::size_t, kFieldCount>;

Places PlacesOf(std::string_view line) {
  Places places;
  places.fill(std::string_view::npos);
  std::size_t position = 0;
  for (std::size_t& place : places) {
    while (position < line.size() && logging::IsSpace(line[position])) ++position;
    if (position == line.size()) break;
    place = position;
    while (position < line.size() && !logging::IsSpace(line[position])) ++position;
  }
  return places;
}

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

std::string LevelsOf(std::int32_t mask) {
  constexpr std::array<std::string_view, 4> kLevels = {"Info", "Warn", "Err", "Crit"};
  std::string levels;
  for (std::size_t bit = 0; bit < kLevels.size(); ++bit) {
    if ((mask >> bit & 1) == 0) continue;
    levels.append(levels.empty() ? "" : ", ").append(kLevels[bit]);
  }
  return levels;
}

// The dotted form with four numbers.
bool IsDottedAddress(std::string_view host) {
  int numbers = 0;
  for (;;) {
    const std::size_t dot = std::min(host.find('.'), host.size());
    const std::string number(host.substr(0, dot));
    const bool digits = !number.empty() && number.size() <= 3 &&
                        number.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || logging::ToInteger(number.c_str()) > 255) return false;
    ++numbers;
    if (dot == host.size()) return numbers == 4;
    host.remove_prefix(dot + 1);
  }
}

// One line, taken apart.
class LineCheck {
 public:
  LineCheck(std::string_view line, bool looksAtFolders)
      : m_looksAtFolders(looksAtFolders),
        m_line(line),
        m_places(PlacesOf(line)),
        m_fields(logging::ScanConfigLine(line)) {}

  LoggerLine Result();

 private:
  bool IsThere(std::size_t field) const { return m_places[field] != std::string_view::npos; }
  std::string FieldRefusal() const;
  std::string Stream(std::int32_t mask);
  std::string FileStream();
  void WarnAboutPath();
  void WarnAboutFolder(const std::string& path);
  std::string UdpStream();

  bool m_looksAtFolders;
  std::string_view m_line;
  Places m_places;
  logging::ConfigFields m_fields;
  LoggerLine m_result;
  std::string m_refusal;
};

// Why the scan ended before the type, or an empty text.
std::string LineCheck::FieldRefusal() const {
  if (m_fields.mask.empty()) {
    return IsThere(1) ? "the mask is longer than three characters" : "no mask after the module";
  }
  const std::int32_t mask = logging::ToInteger(m_fields.mask.c_str());
  if (mask < 1) {
    const bool number = m_fields.mask.find_first_not_of("+-0123456789") == std::string::npos;
    return "the mask " + Quoted(m_fields.mask) +
           (!number     ? " is not a number; it is a sum of 1 (Info), 2 (Warn), 4 (Err), 8 (Crit)"
            : mask == 0 ? " takes no level"
                        : " is negative");
  }
  if (m_fields.type.empty()) {
    return IsThere(2) ? "the type is longer than seven characters; it is File, Dbg or UDP"
                      : "no type after the mask";
  }
  return {};
}

// The path as the add-in uses it, which is literally.
void LineCheck::WarnAboutPath() {
  const std::string& path = m_fields.parameter;
  const auto warn = [this](std::string text) { m_result.warnings.push_back(std::move(text)); };
  if (path.find('"') != std::string::npos) warn("the quotes become part of the path");
  if (path.find('%') != std::string::npos) {
    warn("the add-in doesn't replace variables like %TEMP%: they become part of the path");
  }
  const bool hasDrive = path.size() > 2 && path[1] == ':' && (path[2] == '\\' || path[2] == '/');
  if (!hasDrive && !path.starts_with('/') && !path.starts_with("\\\\")) {
    warn("the path is relative: the files' folder depends on where Outlook was started");
  }
  const std::size_t leaf = path.find_last_of("/\\") + 1;
  const std::size_t dot = path.rfind('.');
  if (dot != std::string::npos && dot >= leaf && path.size() - dot <= 4 && dot + 1 < path.size()) {
    warn("the path has an extension: the files will be named " + path.substr(leaf) +
         ".<computer>_0.log");
  }
  if (m_looksAtFolders) WarnAboutFolder(path);
}

// Only for paths of the system that this runs on.
void LineCheck::WarnAboutFolder(const std::string& path) {
  const std::filesystem::path file(std::u8string(path.begin(), path.end()));
  if (!file.is_absolute()) return;
  std::error_code error;
  if (!std::filesystem::is_directory(file.parent_path(), error)) {
    m_result.warnings.push_back("there is no such folder: the add-in doesn't create it");
    return;
  }
  std::filesystem::path probe = file;
  probe += ".quorvex-check.tmp";
  const bool isWritable = std::ofstream(probe).is_open();
  std::filesystem::remove(probe, error);
  if (!isWritable) m_result.warnings.push_back("you can't create files in this folder");
}

std::string LineCheck::FileStream() {
  const std::string token = m_fields.parameter;
  if (token.empty()) {
    m_refusal =
        IsThere(3) ? "the path's first word is longer than 259 characters" : "a File needs a path";
    return {};
  }
  if (!logging::RecoverFileParameter(m_line, &m_fields)) {
    m_refusal = "the path is longer than 259 characters";
    return {};
  }
  if (Utf8ToWide(m_fields.parameter).empty()) {
    m_refusal = "the path is not valid UTF-8";
    return {};
  }
  if (m_line.find(token) < m_places[3]) {
    m_result.warnings.push_back("the path begins too early, because its first word " +
                                Quoted(token) + " also occurs before it in the line: the path is " +
                                Quoted(m_fields.parameter));
  }
  m_result.file = m_fields.parameter;
  WarnAboutPath();
  return "the files " + m_fields.parameter + ".<computer>_0.log to _4.log";
}

std::string LineCheck::UdpStream() {
  if (m_fields.parameter.empty()) {
    m_refusal = IsThere(3) ? "the address is longer than 259 characters" : "UDP needs an address";
    return {};
  }
  const std::size_t colon = m_fields.parameter.rfind(':');
  const std::string host = m_fields.parameter.substr(0, colon);
  std::uint16_t port = 514;
  if (colon != std::string::npos) {
    const std::string text = m_fields.parameter.substr(colon + 1);
    const std::int32_t number = logging::ToInteger(text.c_str());
    port = static_cast<std::uint16_t>(number);
    if (number < 0 || number > 65535) {
      m_result.warnings.push_back("the port " + text + " is not in 1 to 65535: the add-in uses " +
                                  std::to_string(port));
    }
  }
  if (!IsDottedAddress(host)) {
    m_result.warnings.push_back(Quoted(host) +
                                " is no dotted IPv4 address: the add-in sends nothing to names or "
                                "IPv6 addresses");
  }
  if (port == 0) m_result.warnings.push_back("the port is 0, which can't receive anything");
  return "datagrams to " + host + ", port " + std::to_string(port);
}

std::string LineCheck::Stream(std::int32_t mask) {
  const std::string levels = LevelsOf(mask);
  if (levels.empty()) {
    m_result.warnings.push_back("the mask " + Quoted(m_fields.mask) +
                                " has none of the levels 1, 2, 4 and 8: the stream stays empty");
  }
  std::string target;
  if (logging::EqualsIgnoringCase(m_fields.type, "File")) {
    target = FileStream();
  } else if (logging::EqualsIgnoringCase(m_fields.type, "UDP")) {
    target = UdpStream();
  } else if (logging::EqualsIgnoringCase(m_fields.type, "Dbg")) {
    target = "the debugger";
  } else {
    constexpr std::array<std::string_view, 3> kTypes = {"File", "Dbg", "UDP"};
    m_refusal = "unknown type " + Quoted(m_fields.type) + Suggestion(m_fields.type, kTypes) +
                "; it is File, Dbg or UDP";
  }
  return (levels.empty() ? "no level" : levels) + " to " + target;
}

LoggerLine LineCheck::Result() {
  m_result.module = m_fields.module;
  const std::size_t semicolon = m_line.find_first_not_of(" \t");
  if (semicolon != 0 && semicolon != std::string_view::npos && m_line[semicolon] == ';') {
    m_result.warnings.push_back(
        "a blank stands before \";\": this is no comment, the line is read");
  }
  if (m_fields.module.empty()) {
    m_result.what = "the module's name is longer than 15 characters";
    return std::move(m_result);
  }
  m_refusal = FieldRefusal();
  std::string stream;
  if (m_refusal.empty()) stream = Stream(logging::ToInteger(m_fields.mask.c_str()));
  m_result.kind = m_refusal.empty() ? LoggerLineKind::kStream : LoggerLineKind::kRefused;
  m_result.what = m_refusal.empty() ? stream : m_refusal;
  return std::move(m_result);
}

// Keeps count of the file's own lines, of which the reader gives the long ones in pieces.
class LineCounter {
 public:
  void Take(std::string_view piece) {
    m_isRest = m_open;
    if (!m_isRest) ++m_line;
    // A shorter piece without line end is the file's last, or has a NUL behind it.
    m_open = !piece.ends_with('\n') && piece.size() == logging::kConfigLineSize - 1;
  }
  std::size_t Line() const { return m_line; }
  bool IsRest() const { return m_isRest; }

 private:
  std::size_t m_line = 0;
  bool m_open = false;
  bool m_isRest = false;
};

}  // namespace

const char* NameOf(LoggerLineKind kind) {
  switch (kind) {
    case LoggerLineKind::kStream:
      return "stream";
    case LoggerLineKind::kRefused:
      return "refused";
    case LoggerLineKind::kSkipped:
      break;
  }
  return "skipped";
}

namespace {

void WarnAboutEncoding(std::string_view line, std::size_t number, LoggerReport* report) {
  if (number == 1 && (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF"))) {
    report->onFile.push_back("the file is UTF-16; the add-in reads 8-bit text: save it as UTF-8");
  } else if (line.find('\r') != std::string_view::npos) {
    report->onFile.push_back("line " + std::to_string(number) +
                             " has a CR in it: lines have to end with LF or CR LF");
  }
}

// By module and path, the line that names the file first.
using FileLines = std::map<std::string, std::size_t>;

void WarnAboutSameFile(FileLines* files, LoggerLine* line) {
  if (files->size() >= kMaxFiles) return;
  const auto [known, isNew] = files->emplace(line->module + "\n" + line->file, line->line);
  if (isNew) return;
  line->warnings.push_back("the same file as in line " + std::to_string(known->second) +
                           ": it gets each line twice");
}

}  // namespace

LoggerReport CheckLoggerConfig(const std::string& path,
                               const std::function<void(const LoggerLine&)>& show,
                               bool looksAtFolders) {
  LoggerReport report;
  logging::ConfigLines lines(path.c_str());
  report.opened = lines.IsOpen();
  if (!report.opened) return report;
  LineCounter counter;
  std::size_t cutByNul = 0;    // the first such line
  std::size_t withoutEnd = 0;  // a short line without end: fine if it is the last
  std::string_view line;
  FileLines files;
  while (lines.Next(&line)) {
    counter.Take(line);
    if (report.onFile.empty()) WarnAboutEncoding(line, counter.Line(), &report);
    if (withoutEnd != 0 && cutByNul == 0) cutByNul = withoutEnd;
    const bool isShort = !line.ends_with('\n') && line.size() < logging::kConfigLineSize - 1;
    withoutEnd = isShort ? counter.Line() : 0;
    const bool isBlank = std::all_of(line.begin(), line.end(), logging::IsSpace);
    if (logging::IsConfigComment(line) || isBlank) continue;
    LoggerLine result = LineCheck(line, looksAtFolders).Result();
    result.line = counter.Line();
    if (counter.Line() == 1 && line.starts_with(kByteOrderMark)) {
      result.warnings.insert(result.warnings.begin(),
                             "a byte-order mark begins the file: it is part of this line's module");
    }
    if (counter.IsRest()) {
      result.warnings.insert(result.warnings.begin(),
                             "the line was cut after 291 characters; this is its rest, read as a "
                             "line of its own");
    }
    const bool isStream = result.kind == LoggerLineKind::kStream;
    if (isStream) ++report.streams;
    if (!isStream) ++report.refused;
    if (isStream && logging::EqualsIgnoringCase(result.module, kLogModule)) ++report.addInStreams;
    if (isStream && !result.file.empty()) WarnAboutSameFile(&files, &result);
    report.warnings += result.warnings.size();
    show(result);
  }
  if (cutByNul != 0) {
    report.onFile.push_back("line " + std::to_string(cutByNul) +
                            " has a NUL byte, which ends it: is this a text file?");
  }
  if (report.addInStreams == 0) {
    report.onFile.push_back("no line makes a stream for \"Outlook\": the add-in logs nothing");
  }
  report.warnings += report.onFile.size();
  return report;
}

}  // namespace inspection::logs
