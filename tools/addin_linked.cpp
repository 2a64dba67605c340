// The add-in as a part of this program, for systems that have no DLL to load. What it asks of the
// system goes through the platform's tables, so it is watched there.
#include <set>

#include "agent/outlookaddin/module.h"
#include "channel/protocol.h"
#include "logging/vrklogger.h"
#include "platform/diagnostics.h"
#include "platform/files.h"
#include "platform/mappings.h"
#include "platform/scopedreplacement.h"
#include "text/textconversion.h"
#include "tools/addin.h"

namespace tools {

namespace {

constexpr int kAllLevels = kLogInfo | kLogWarn | kLogErr | kLogCrit;
constexpr const char* kDebugger = "Dbg";

struct Watcher {
  Watcher(ExchangeLog* log, const std::string& ring)
      : open([log, ring](auto original, std::uint32_t access, bool inherit, const char* name) {
          const bool isRing = std::string_view(name) == channel::kRingName;
          const platform::Handle mapping = original(access, inherit, isRing ? ring.c_str() : name);
          log->Opened(name, mapping);
          return mapping;
        }),
        map([log](auto original, platform::Handle mapping, std::uint32_t access,
                  std::uint32_t offsetHigh, std::uint32_t offsetLow, std::uint32_t size) {
          void* const view = original(mapping, access, offsetHigh, offsetLow, size);
          log->Mapped(mapping, view, size);
          return view;
        }),
        unmap([log](auto original, const void* view) {
          log->Unmapping(view);
          return original(view);
        }),
        debug([log](auto, const platform::WideChar* text) { log->Logged(WideToUtf8(text)); }),
        findFirst([this](auto original, const char* pattern, platform::FindData* entry) {
          const platform::Handle listing = original(pattern, entry);
          if (listing != platform::kInvalidHandle) listings.insert(listing);
          return listing;
        }),
        findClose([this](auto original, platform::Handle listing) {
          listings.erase(listing);
          return original(listing);
        }) {}
  ~Watcher() { g_logger.SetStreamEnabled(kLogModule, kDebugger, 0); }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  using Mappings = platform::MappingOperations;
  platform::ScopedReplacement<platform::mappings, &Mappings::OpenFileMappingA> open;
  platform::ScopedReplacement<platform::mappings, &Mappings::MapViewOfFile> map;
  platform::ScopedReplacement<platform::mappings, &Mappings::UnmapViewOfFile> unmap;
  platform::ScopedReplacement<platform::diagnostics,
                              &platform::DiagnosticsOperations::OutputDebugStringW>
      debug;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindFirstFileA> findFirst;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::FindClose> findClose;
  std::set<platform::Handle> listings;  // open ones
};

}  // namespace

bool AddIn::UsesOurPlatform() {
  return true;
}

AddIn::GetClassObjectFunction AddIn::Load() {
  return &DllGetClassObject;
}

void AddIn::Watch(ExchangeLog* log, const std::string& ring) {
  m_watcher = std::make_shared<Watcher>(log, ring);
}

// The stream for the debugger brings the log to the Watcher. A user's own streams of that type
// would bring each line twice.
void AddIn::StartLog() {
  g_logger.SetStreamEnabled(kLogModule, kDebugger, 0);
  g_logger.AddStream(kLogModule, kAllLevels, kDebugger, nullptr);
}

void AddIn::CloseListings() {
  std::set<platform::Handle>& listings = static_cast<Watcher*>(m_watcher.get())->listings;
  while (!listings.empty()) platform::files.FindClose(*listings.begin());
}

}  // namespace tools
