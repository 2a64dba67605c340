// The add-in as a part of this program, for systems that have no DLL to load.
#include "agent/outlookaddin/module.h"
#include "agent/outlookaddin/verdictcache.h"
#include "logging/filestream.h"
#include "logging/vrklogger.h"
#include "platform/process.h"
#include "text/textconversion.h"
#include "tools/addinside.h"

namespace tools {

namespace {

constexpr int kAllLevels = kLogInfo | kLogWarn | kLogErr | kLogCrit;

}  // namespace

GetClassObjectFunction LoadAddInLibrary() {
  return &DllGetClassObject;
}

std::optional<std::string> StartLinkedLog(const std::string& base) {
  if (g_logger.AddStream(kLogModule, kAllLevels, "File", base.c_str()) == 0) return std::nullopt;
  // The stream's own way of naming its files, from the same base and this computer's name.
  platform::WideChar computer[16] = QV_WIDE("Unknown");
  std::uint32_t size = 16;
  platform::process.GetComputerNameW(computer, &size);
  const CFileStream namer(Utf8ToWide(base + ".") + computer);
  return WideToUtf8(namer.MakeFileName(0));
}

std::optional<ActionCode> LinkedVerdictOf(const _MailItem* mailItem) {
  const VerdictCacheEntry* const entry = g_verdictCache.Find(mailItem);
  if (entry == nullptr) return std::nullopt;
  return entry->lResult;
}

}  // namespace tools
