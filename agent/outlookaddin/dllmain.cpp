#include "agent/outlookaddin/module.h"
#include "platform/callingconvention.h"
#include "platform/unwinding.h"

// Called under the loader's lock, so it only stores the instance handle and registers the unwind
// tables: no thread, no other library, no wait.
extern "C" BOOL QV_STDCALL DllMain(HINSTANCE instance, DWORD reason, void* /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) platform::RegisterUnwindTables();
  return g_module.DllMain(instance, static_cast<std::uint32_t>(reason)) ? 1 : 0;
}
