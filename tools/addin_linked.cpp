// The add-in as a part of this program, for systems that have no DLL to load.
#include "agent/outlookaddin/module.h"
#include "agent/outlookaddin/verdictcache.h"
#include "logging/filestream.h"
#include "logging/vrklogger.h"
#include "platform/process.h"
#include "text/textconversion.h"
#include "tools/addin.h"

namespace tools {

namespace {

constexpr int kAllLevels = kLogInfo | kLogWarn | kLogErr | kLogCrit;

}  // namespace

AddIn::GetClassObjectFunction AddIn::Load() {
  return &DllGetClassObject;
}

std::optional<std::string> AddIn::StartLog(const std::string& base) {
  if (g_logger.AddStream(kLogModule, kAllLevels, "File", base.c_str()) == 0) return std::nullopt;
  // The stream builds its file names from the base and the computer's name, so ask one.
  platform::WideChar computer[16] = QV_WIDE("Unknown");
  std::uint32_t size = 16;
  platform::process.GetComputerNameW(computer, &size);
  const CFileStream namer(Utf8ToWide(base + ".") + computer);
  return WideToUtf8(namer.MakeFileName(0));
}

std::optional<ActionCode> AddIn::VerdictOf(const _MailItem* mailItem) const {
  const VerdictCacheEntry* const entry = g_verdictCache.Find(mailItem);
  if (entry == nullptr) return std::nullopt;
  return entry->lResult;
}

}  // namespace tools
