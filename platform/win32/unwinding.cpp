#include "platform/unwinding.h"

#if defined(__i386__)

#include <windows.h>

// The linker's name for the beginning of this module.
extern "C" const IMAGE_DOS_HEADER __ImageBase;  // NOLINT(bugprone-reserved-identifier)

// A place among this module's unwind tables. Their section has no name in memory, since a header
// has room for eight characters only.
extern "C" const unsigned char quorvexUnwindTables;
asm(".section .eh_frame,\"r\"\n"
    ".globl _quorvexUnwindTables\n"
    "_quorvexUnwindTables:\n"
    ".text\n");

// From the copy of libgcc in this module. `bases` has three words. `object` is the unwinder's
// memory for the table; it has to stay, and takes at most eight words.
extern "C" const void* _Unwind_Find_FDE(const void* address, void** bases);
extern "C" void __register_frame_info(const void* table, void** object);

namespace {

// The beginning of the section with the unwind tables, or null.
const unsigned char* UnwindTables() {
  const auto* const image = reinterpret_cast<const unsigned char*>(&__ImageBase);
  const auto* const headers =
      reinterpret_cast<const IMAGE_NT_HEADERS*>(image + __ImageBase.e_lfanew);
  const auto wanted = static_cast<DWORD>(&quorvexUnwindTables - image);
  const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(headers);
  for (int left = headers->FileHeader.NumberOfSections; left > 0; --left, ++section) {
    if (wanted - section->VirtualAddress < section->Misc.VirtualSize) {
      return image + section->VirtualAddress;
    }
  }
  return nullptr;
}

}  // namespace

void platform::RegisterUnwindTables() {
  void* bases[3] = {};
  const auto own = reinterpret_cast<const void*>(&platform::RegisterUnwindTables);
  if (_Unwind_Find_FDE(own, bases) != nullptr) return;
  static void* object[8] = {};
  if (const unsigned char* const tables = UnwindTables()) __register_frame_info(tables, object);
}

#else

// The system finds the tables in the module's header.
void platform::RegisterUnwindTables() {}

#endif
