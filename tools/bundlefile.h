// Reading a bundle that `quorvex bundle` wrote.
#pragma once

#include <string>
#include <vector>

#include "inspection/bundle/zipfile.h"

namespace tools {

// The names of a bundle's entries. Logs are in the folder kBundleLogs.
inline constexpr char kBundleManifest[] = "manifest.json";
inline constexpr char kBundleMachine[] = "machine.json";
inline constexpr char kBundleLogs[] = "logs/";

// True if the file begins like a .zip; false if it can't be read.
bool IsBundle(const std::string& path);

// Its entries. Ends the command with CommandError, "<path>: <why>" and `status`, if it can't be
// read.
std::vector<inspection::bundle::ZipEntry> ReadBundle(const std::string& path, int status);

// The whole file. Ends the command with CommandError and `status` if it can't be opened.
std::string ReadWholeFile(const std::string& path, int status);

}  // namespace tools
