// The add-in as DlpAddIn.dll, in the folder of this program.
#include <filesystem>
#include <stdexcept>

#include "tools/addin.h"
#include "tools/system/commandline.h"
#include "tools/system/dynamiclibrary.h"

namespace tools {

namespace {

constexpr const char* kLibraryName = "DlpAddIn.dll";

}  // namespace

AddIn::GetClassObjectFunction AddIn::Load() {
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

std::optional<std::string> AddIn::StartLog(const std::string&) {
  return std::nullopt;
}

std::optional<ActionCode> AddIn::VerdictOf(const _MailItem*) const {
  return std::nullopt;
}

}  // namespace tools
