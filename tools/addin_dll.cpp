// The real DLL, from the folder that this program lies in.
#include <filesystem>
#include <stdexcept>

#include "tools/addinside.h"
#include "tools/system/commandline.h"
#include "tools/system/dynamiclibrary.h"

namespace tools {

namespace {

constexpr const char* kLibraryName = "DlpAddIn.dll";

}  // namespace

GetClassObjectFunction LoadAddInLibrary() {
  const std::u8string program(
      reinterpret_cast<const char8_t*>(tools::system::OwnProgramPath().c_str()));
  const std::u8string path =
      std::filesystem::path(program).replace_filename(kLibraryName).u8string();
  std::string error;
  void* const entry = tools::system::LoadedFunction(reinterpret_cast<const char*>(path.c_str()),
                                                    "DllGetClassObject", &error);
  if (entry == nullptr) throw std::runtime_error(error);
  return reinterpret_cast<GetClassObjectFunction>(entry);
}

// The DLL's log and its memory of verdicts are its own.
std::optional<std::string> StartLinkedLog(const std::string&) {
  return std::nullopt;
}
std::optional<ActionCode> LinkedVerdictOf(const _MailItem*) {
  return std::nullopt;
}

}  // namespace tools
