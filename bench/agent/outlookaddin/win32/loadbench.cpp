// How long the host waits for the library, from LoadLibrary to the class object, compared with a
// library that does nothing.
#include <windows.h>

#include <array>
#include <cstdio>
#include <string>

#include "agent/outlookaddin/addinids.h"
#include "bench/median.h"
#include "platform/com/comptr.h"
#include "platform/com/comtypes.h"

namespace {

using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

std::wstring BesideProgram(const wchar_t* name) {
  std::array<wchar_t, MAX_PATH> path = {};
  GetModuleFileNameW(nullptr, path.data(), MAX_PATH);
  const std::wstring own = path.data();
  return own.substr(0, own.rfind(L'\\') + 1) + name;
}

// Loads the library, gets its class object and unloads it. The first time is measured separately,
// since the file may come from the disk.
bool Load(const bench::Table& table, const wchar_t* name, HRESULT expected) {
  const std::wstring path = BesideProgram(name);
  bench::Samples first;
  bench::Samples samples;
  for (int round = 0; round <= 50; ++round) {
    HMODULE library = nullptr;
    HRESULT result = E_FAIL;
    platform::ComPtr<IClassFactory> factory;
    (round == 0 ? first : samples).Time([&] {
      library = LoadLibraryW(path.c_str());
      if (library == nullptr) return;
      const auto entry = reinterpret_cast<GetClassObjectFunction>(
          reinterpret_cast<void*>(GetProcAddress(library, "DllGetClassObject")));
      result = entry(CLSID_Connect, IID_IClassFactory, reinterpret_cast<void**>(factory.Put()));
    });
    factory.Reset();
    if (library != nullptr) FreeLibrary(library);
    if (result != expected) {
      std::printf("%ls: 0x%08lX\n", path.c_str(), static_cast<unsigned long>(result));
      return false;
    }
    if (GetModuleHandleW(name) != nullptr) {
      std::printf("%ls stays loaded, so the next round would measure nothing\n", name);
      return false;
    }
  }
  const std::string what(name, name + wcslen(name));
  table.Row("Load and class object, " + what, samples);
  table.Row("Load and class object the first time, " + what, first);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Table table(argc, argv);
  // A host has already loaded what the libraries import.
  for (const wchar_t* const name : {L"ole32.dll", L"oleaut32.dll", L"shell32.dll", L"ws2_32.dll",
                                    L"mapi32.dll", L"user32.dll"}) {
    LoadLibraryW(name);
  }
  const bool nothing = Load(table, L"bench_nothing.dll", CLASS_E_CLASSNOTAVAILABLE);
  const bool addIn = Load(table, L"DlpAddIn.dll", S_OK);
  return nothing && addIn ? 0 : 1;
}
