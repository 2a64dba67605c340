#include "tools/system/librarywatch.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "tools/system/win32/utf8.h"

namespace tools::system {
namespace {

LibraryWatch g_watch;

HANDLE WINAPI OnOpenFileMapping(DWORD access, BOOL inherit, const char* name) {
  const HANDLE mapping = OpenFileMappingA(access, inherit, g_watch.renamed(name).c_str());
  g_watch.opened(name, mapping);
  return mapping;
}

void* WINAPI OnMapViewOfFile(HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T size) {
  void* const view = MapViewOfFile(mapping, access, high, low, size);
  g_watch.mapped(mapping, view, static_cast<std::uint32_t>(size));
  return view;
}

BOOL WINAPI OnUnmapViewOfFile(const void* view) {
  g_watch.unmapping(view);
  return UnmapViewOfFile(view);
}

void WINAPI OnDebugText(const wchar_t* text) {
  g_watch.debugText(win32::ToUtf8(text));
}

void WINAPI OnSleep(DWORD milliseconds) {
  g_watch.sleep(milliseconds);
}

DWORD WINAPI OnTickCount() {
  return g_watch.tickCount();
}

// Copies as the system's functions for folders do.
template <typename Character>
UINT Copied(const std::string& text, UINT size, Character* buffer) {
  if (text.size() >= size) return static_cast<UINT>(text.size() + 1);
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = 0;
  return static_cast<UINT>(text.size());
}

UINT WINAPI OnSystemDirectory(char* buffer, UINT size) {
  return Copied(g_watch.systemDirectory, size, buffer);
}

DWORD WINAPI OnTempPathA(DWORD size, char* buffer) {
  return Copied(g_watch.temporaryFolder, size, buffer);
}

DWORD WINAPI OnTempPathW(DWORD size, wchar_t* buffer) {
  return Copied(g_watch.temporaryFolder, size, buffer);
}

struct Import {
  const char* name;
  void* function;
};

template <typename Function>
Import ImportOf(const char* name, Function* function) {
  return {name, reinterpret_cast<void*>(function)};
}

const unsigned char* At(const unsigned char* base, DWORD offset) {
  return base + offset;
}

// Calls `act` with each function that the library imports by name, and with the place of its
// address.
template <typename Act>
void ForEachImport(unsigned char* base, const Act& act) {
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const DWORD imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  if (imports == 0) return;
  for (auto* entry = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(At(base, imports));
       entry->Name != 0; ++entry) {
    const auto* name =
        reinterpret_cast<const IMAGE_THUNK_DATA*>(At(base, entry->OriginalFirstThunk));
    auto* place = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++place) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* const named = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(
          At(base, static_cast<DWORD>(name->u1.AddressOfData)));
      act(reinterpret_cast<const char*>(named->Name), reinterpret_cast<void**>(place));
    }
  }
}

}  // namespace

void WatchLibrary(const void* code, LibraryWatch watch) {
  g_watch = std::move(watch);
  HMODULE library = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<const wchar_t*>(code), &library);
  if (library == nullptr) return;
  const std::array<Import, 9> imports = {ImportOf("OpenFileMappingA", &OnOpenFileMapping),
                                         ImportOf("MapViewOfFile", &OnMapViewOfFile),
                                         ImportOf("UnmapViewOfFile", &OnUnmapViewOfFile),
                                         ImportOf("OutputDebugStringW", &OnDebugText),
                                         ImportOf("Sleep", &OnSleep),
                                         ImportOf("GetTickCount", &OnTickCount),
                                         ImportOf("GetSystemDirectoryA", &OnSystemDirectory),
                                         ImportOf("GetTempPathA", &OnTempPathA),
                                         ImportOf("GetTempPathW", &OnTempPathW)};
  ForEachImport(reinterpret_cast<unsigned char*>(library), [&](const char* name, void** place) {
    for (const Import& import : imports) {
      if (std::strcmp(import.name, name) != 0) continue;
      DWORD before = 0;
      VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &before);
      *place = import.function;
      VirtualProtect(place, sizeof(*place), before, &before);
    }
  });
}

}  // namespace tools::system
