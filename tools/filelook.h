// Looking at the files and folders that the add-in uses.
#pragma once

#include <functional>
#include <string>

#include "inspection/doctor/machine.h"
#include "tools/system/windowsfacts.h"

namespace tools {

// True for an existing file. `path` is in UTF-8; a "\" separates folders on every system.
bool IsFile(const std::string& path);

// The library's bitness, version, signature, and which of its imports neither its own folder nor
// the system's has.
inspection::doctor::Library LookAtLibrary(
    const std::string& path, const system::SystemFacts& system,
    const std::function<system::FileSignature(const std::string& path)>& signature);

// Adds vrk.pro and Logger.cfg of programs with these bits, whose system folder is `folder`, and the
// folders that the log goes to.
void LookAtSettings(int bits, const std::string& folder, inspection::doctor::Machine* machine);

// The temporary folder and the folder of the mail signatures.
void LookAtFolders(inspection::doctor::Machine* machine);

}  // namespace tools
