#include "logging/vrklogger.h"

#include <clocale>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "logging/debugviewstream.h"
#include "logging/filestream.h"
#include "logging/moduleloginfo.h"
#include "logging/runtimetext.h"
#include "logging/socketstream.h"
#include "platform/formatting.h"
#include "platform/process.h"
#include "text/textconversion.h"

CVRKLogger g_logger;

namespace {

// All levels with a name, and two bits without one.
constexpr int kLogAll = 0x300F;

// CR and LF.
constexpr std::size_t kLineEnd = 2;

bool IsEmptyText(const char* text) {
  return text == nullptr || *text == '\0';
}

void Offer(const CModuleLogInfo& module, int level, const char* text) {
  for (const CModuleStreamWrapper* wrapper = module.m_pStreams; wrapper != nullptr;
       wrapper = wrapper->m_pNext) {
    if (wrapper->m_bEnabled == 0 || wrapper->m_pStream == nullptr) continue;
    if ((wrapper->m_uMask & static_cast<std::uint32_t>(level)) == 0) continue;
    try {
      wrapper->m_pStream->Write(text);
    } catch (const std::bad_alloc&) {
      // This stream loses the line. The work that is being logged goes on.
    }
  }
}

// Returns null for an unknown type and for a missing parameter.
std::unique_ptr<CBaseStream> MakeStream(std::string_view type, const char* parameter,
                                        const platform::WideChar* computerName) {
  if (logging::EqualsIgnoringCase(type, "File")) {
    if (IsEmptyText(parameter)) return nullptr;
    platform::WideString baseName = Utf8ToWide(parameter);
    if (baseName.empty()) return nullptr;
    baseName += QV_WIDE(".");
    baseName += computerName;
    return std::make_unique<CFileStream>(std::move(baseName));
  }
  if (logging::EqualsIgnoringCase(type, "Dbg")) return std::make_unique<CDebugViewStream>();
  if (logging::EqualsIgnoringCase(type, "UDP")) {
    if (IsEmptyText(parameter)) return nullptr;
    return std::make_unique<CSocketStream>(parameter);
  }
  return nullptr;
}

}  // namespace

CVRKLogger::CVRKLogger() {
  auto size = static_cast<std::uint32_t>(std::size(m_wszComputerName));
  if (!platform::process.GetComputerNameW(m_wszComputerName, &size)) {
    constexpr platform::WideStringView kUnknown = QV_WIDE("Unknown");
    m_wszComputerName[kUnknown.copy(m_wszComputerName, kUnknown.size())] = 0;
  }
  // Runtimes without the first name know the second.
  if (std::setlocale(LC_ALL, ".UTF8") == nullptr) std::setlocale(LC_ALL, "C.UTF-8");
}

CVRKLogger::~CVRKLogger() {
  m_cs.reset();
  delete m_pModules.exchange(nullptr);
}

int CVRKLogger::Log(const char* module, int level, const char* format, ...) {
  if (m_pModules.load(std::memory_order_relaxed) == nullptr) return 0;
  std::va_list arguments;
  va_start(arguments, format);
  const int result = LogV(module, level, format, arguments);
  va_end(arguments);
  return result;
}

int CVRKLogger::LogV(const char* module, int level, const char* format, std::va_list arguments) {
  if (m_pModules.load(std::memory_order_relaxed) == nullptr) return 0;
  if (IsEmptyText(module) || level == 0 || IsEmptyText(format)) return 0;
  const std::lock_guard lock(*m_cs);
  const CModuleLogInfo* const info = FindModule(module);
  if (info == nullptr || info->m_pStreams == nullptr) return 0;
  FormatLine(module, level, format, arguments);
  Offer(*info, level, m_szLine);
  return 1;
}

void CVRKLogger::FormatLine(const char* module, int level, const char* format,
                            std::va_list arguments) {
  std::memset(m_szLine, 0, sizeof m_szLine);
  // This always fits: the stamp has less than 64 characters, a registered name at most 16.
  char* message = m_szLine;
  for (const std::string_view part :
       {std::string_view(m_stamp.Now()), std::string_view(module), std::string_view("> "),
        std::string_view(LevelName(level)), std::string_view(": ")}) {
    message += part.copy(message, part.size());
  }
  // Cut the message to leave room for its NUL and the line end.
  const auto room = static_cast<std::size_t>(std::end(m_szLine) - message);
  platform::formatting.Format(message, room - kLineEnd, format, nullptr, arguments);
  char* end = message + std::strlen(message);
  if (end[-1] == '\n') --end;
  std::memcpy(end, "\r\n", sizeof "\r\n");
}

int CVRKLogger::LogRaw(const char* module, int level, const char* text) {
  const CModuleLogInfo* const info = FindModule(module);
  if (info == nullptr || info->m_pStreams == nullptr) return 0;
  const std::lock_guard lock(*m_cs);
  Offer(*info, level, text);
  return 1;
}

int CVRKLogger::AddStream(const char* module, int mask, const char* type, const char* parameter) {
  if (IsEmptyText(module) || mask < 1 || IsEmptyText(type)) return 0;
  std::unique_ptr<CBaseStream> stream = MakeStream(type, parameter, m_wszComputerName);
  if (stream == nullptr) return 0;
  auto wrapper = std::make_unique<CModuleStreamWrapper>(std::move(stream),
                                                        static_cast<std::uint32_t>(mask), type);
  const std::lock_guard lock(*m_cs);
  CModuleLogInfo* info = FindModule(module);
  if (info == nullptr) {
    info = new CModuleLogInfo(module);
    info->m_pNext = m_pModules.load(std::memory_order_relaxed);
    // Complete before readers without the lock can see it.
    m_pModules.store(info, std::memory_order_release);
  }
  wrapper->m_pNext = info->m_pStreams;
  info->m_pStreams = wrapper.release();
  return 1;
}

CModuleLogInfo* CVRKLogger::FindModule(const char* module) const {
  if (module == nullptr) return nullptr;
  for (CModuleLogInfo* info = m_pModules.load(std::memory_order_acquire); info != nullptr;
       info = info->m_pNext) {
    if (logging::EqualsIgnoringCase(info->m_szName, module)) return info;
  }
  return nullptr;
}

bool CVRKLogger::IsModuleLogged(const char* module) const {
  const CModuleLogInfo* const info = FindModule(module);
  return info != nullptr && info->m_pStreams != nullptr;
}

int CVRKLogger::SetStreamEnabled(const char* module, const char* type, std::int32_t enabled) {
  const CModuleLogInfo* const info = FindModule(module);
  if (info == nullptr || type == nullptr) return 0;
  const std::lock_guard lock(*m_cs);
  int found = 0;
  for (CModuleStreamWrapper* wrapper = info->m_pStreams; wrapper != nullptr;
       wrapper = wrapper->m_pNext) {
    if (!logging::EqualsIgnoringCase(wrapper->m_szType, type)) continue;
    wrapper->m_bEnabled = enabled;
    found = 1;
  }
  return found;
}

int CVRKLogger::GetStreamState(const char* module, const char* type, std::uint32_t* mask,
                               std::int32_t* enabled) {
  const CModuleLogInfo* const info = FindModule(module);
  if (info == nullptr || type == nullptr) return 0;
  const std::lock_guard lock(*m_cs);
  std::uint32_t allMasks = 0;
  const CModuleStreamWrapper* last = nullptr;
  for (const CModuleStreamWrapper* wrapper = info->m_pStreams; wrapper != nullptr;
       wrapper = wrapper->m_pNext) {
    if (!logging::EqualsIgnoringCase(wrapper->m_szType, type)) continue;
    allMasks |= wrapper->m_uMask;
    last = wrapper;
  }
  if (last == nullptr) return 0;
  if (mask != nullptr) *mask = allMasks;
  if (enabled != nullptr) *enabled = last->m_bEnabled;
  return 1;
}

void CVRKLogger::RemoveAllModules() {
  const std::lock_guard lock(*m_cs);
  delete m_pModules.exchange(nullptr);
}

const char* CVRKLogger::LevelName(int level) {
  if ((level & kLogAll) == kLogAll) return "All ";
  if ((level & kLogCrit) != 0) return "Crit";
  if ((level & kLogErr) != 0) return "Err ";
  if ((level & kLogWarn) != 0) return "Warn";
  if ((level & kLogInfo) != 0) return "Info";
  return "None";
}
