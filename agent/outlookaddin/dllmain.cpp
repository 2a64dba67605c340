#include "agent/outlookaddin/module.h"
#include "platform/callingconvention.h"

// Called under the loader's lock: it stores the instance and starts, loads and waits for nothing.
extern "C" BOOL QV_STDCALL DllMain(HINSTANCE instance, DWORD reason, void* /*reserved*/) {
  return g_module.DllMain(instance, static_cast<std::uint32_t>(reason)) ? 1 : 0;
}
