// Logger.cfg. The first byte gives the size of each read; the rest is the file. The logger's
// streams, its result and the file names that it records are compared with a reading by the rules
// of fgets and sscanf.
#include <iconv.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzzing.h"
#include "logging/moduleloginfo.h"
#include "platform/sockets.h"

namespace {

using fuzzing::Require;

class OpenLogger : public CVRKLogger {
 public:
  const std::set<platform::WideString>& LogFiles() const { return m_logFiles; }

  // The modules and their streams' types and masks, newest first.
  std::vector<std::string> Streams() const {
    std::vector<std::string> streams;
    for (const CModuleLogInfo* info = m_pModules.load(); info != nullptr; info = info->m_pNext) {
      for (const CModuleStreamWrapper* at = info->m_pStreams; at != nullptr; at = at->m_pNext) {
        streams.push_back(std::string(info->m_szName) + " " + at->m_szType + " " +
                          std::to_string(at->m_uMask));
      }
    }
    return streams;
  }
};

std::string Lower(std::string_view text) {
  std::string result(text);
  for (char& letter : result) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return result;
}

// Empty if the text isn't UTF-8.
platform::WideString Widened(std::string_view text) {
  static const iconv_t converter = iconv_open("UTF-16LE", "UTF-8");
  platform::WideString wide(text.size() + 1, u'\0');
  char* from = const_cast<char*>(text.data());
  std::size_t left = text.size();
  char* to = reinterpret_cast<char*>(wide.data());
  std::size_t room = 2 * wide.size();
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &from, &left, &to, &room) == static_cast<std::size_t>(-1)) return {};
  wide.resize(wide.size() - room / 2);
  return wide;
}

// The expected result of reading the file.
struct Reading {
  int result = 1;
  std::vector<std::string> modules;                          // in the order of their first stream
  std::map<std::string, std::vector<std::string>> byModule;  // by the lower-case name
  std::set<platform::WideString> files;
};

struct Fields {
  std::string module, mask, type, parameter;
  bool isTooLong = false;
};

Fields Scan(const std::string& line) {
  Fields fields;
  char module[292] = {}, mask[292] = {}, type[292] = {}, parameter[292] = {};
  std::sscanf(line.c_str(), "%291s %291s %291s %291s", module, mask, type, parameter);
  if (std::strlen(module) > 15) return fields;
  fields.module = module;
  if (std::strlen(mask) > 3) return fields;
  fields.mask = mask;
  if (std::strlen(type) > 7) return fields;
  fields.type = type;
  if (std::strlen(parameter) > 259) return fields;
  fields.parameter = parameter;
  if (fields.parameter.empty() || Lower(fields.type) != "file") return fields;
  std::string end = line;
  while (end.size() > 1 && std::strchr("\t\n\r ", end.back()) != nullptr) end.pop_back();
  fields.parameter = end.substr(end.find(fields.parameter));
  fields.isTooLong = fields.parameter.size() >= 260;
  return fields;
}

void TakeLine(const std::string& line, Reading* reading) {
  if (line.empty() || line[0] == ';') return;
  const Fields fields = Scan(line);
  const std::string type = Lower(fields.type);
  const platform::WideString wide = Widened(fields.parameter);
  const bool isFile = type == "file" && !fields.parameter.empty();
  if (isFile && !fields.isTooLong && !wide.empty()) reading->files.insert(wide);
  if (fields.isTooLong) reading->result = 0;
  if (fields.isTooLong || fields.module.empty()) return;
  const int mask = std::atoi(fields.mask.c_str());
  const bool isMade = mask >= 1 && (type == "dbg" || (isFile && !wide.empty()) ||
                                    (type == "udp" && !fields.parameter.empty()));
  if (!isMade) {
    reading->result = 0;
    return;
  }
  auto& streams = reading->byModule[Lower(fields.module)];
  if (streams.empty()) reading->modules.push_back(fields.module);
  streams.push_back(fields.type + " " + std::to_string(mask));
}

Reading ReadByRules(std::string_view file) {
  std::string text;
  for (const char byte : file) {
    if (byte == '\n' && !text.empty() && text.back() == '\r') text.pop_back();
    text += byte;
  }
  Reading reading;
  for (std::size_t at = 0; at < text.size();) {
    std::string line = text.substr(at, 291);
    line.resize(
        std::min(line.size(), line.find('\n') == std::string::npos ? 291 : line.find('\n') + 1));
    at += line.size();
    TakeLine(line.c_str(), &reading);
  }
  return reading;
}

std::vector<std::string> StreamsOf(const Reading& reading) {
  std::vector<std::string> streams;
  for (auto name = reading.modules.rbegin(); name != reading.modules.rend(); ++name) {
    const auto& own = reading.byModule.at(Lower(*name));
    for (auto stream = own.rbegin(); stream != own.rend(); ++stream) {
      streams.push_back(*name + " " + *stream);
    }
  }
  return streams;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::MemoryFile file;
  static platform::ScopedReplacement<platform::sockets, &platform::SocketOperations::CreateSocket>
      noSocket([](auto, auto...) { return platform::kInvalidSocket; });
  static platform::ScopedReplacement<platform::diagnostics,
                                     &platform::DiagnosticsOperations::OutputDebugStringW>
      noDebugger([](auto, auto...) {});
  static OpenLogger logger;
  fuzzing::Input input(data, size);
  const std::size_t piece = input.Byte();
  const fuzzing::ExactBytes content(input.Rest());
  file.Set(content.View(), piece == 0 ? content.View().size() : piece, content.View().size() + 1);

  const Reading expected = ReadByRules(content.View());
  Require(logger.LoadConfigFile("Logger.cfg") == expected.result, "the result of the reading");
  Require(logger.Streams() == StreamsOf(expected), "the streams, newest first");
  Require(logger.LogFiles() == expected.files, "the recorded files");
  Require(file.OpenHandles() == 0, "the file is closed");
  for (const std::string& name : expected.modules) {
    Require(logger.Log(name.c_str(), kLogErr, "%s", "a line") == 1, "a module with streams logs");
  }

  const std::string_view module = content.View().substr(0, 7);
  logger.RemoveAllModules();
  const int single = logger.LoadModuleConfigFile("Logger.cfg", std::string(module).c_str());
  Require(logger.Streams().size() == static_cast<std::size_t>(single), "one stream or none");
  logger.RemoveAllModules();
  return 0;
}
