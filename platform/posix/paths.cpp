#include "platform/posix/paths.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/posix/utf.h"

namespace platform::posix {
namespace {

std::string HomeFolder() {
  if (const char* const home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
  std::vector<char> buffer(16384);
  passwd entry = {};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    return {};
  }
  return found->pw_dir;
}

std::filesystem::path UnresolvedRoot() {
  if (const char* const root = std::getenv("QUORVEX_ROOT"); root != nullptr && *root != '\0') {
    return root;
  }
  // The XDG rules say to ignore a relative value.
  if (const char* const state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
    return std::filesystem::path(state) / "quorvex";
  }
  const std::string home = HomeFolder();
  return home.empty() ? std::filesystem::path()
                      : std::filesystem::path(home) / ".local/state/quorvex";
}

std::string Resolved(const std::filesystem::path& root) {
  // Mappings are found by this name, so every link to the folder must resolve to the same one.
  std::error_code error;
  std::filesystem::path resolved = std::filesystem::weakly_canonical(root, error);
  if (error) resolved = std::filesystem::absolute(root, error).lexically_normal();
  std::string text = resolved.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

}  // namespace

std::string RootFolder() {
  // Resolving takes a system call for each folder on the way, and every mapping and file asks.
  // Never destroyed: files and mappings may be closed after this file's statics.
  struct LastRoot {
    std::mutex mutex;
    std::filesystem::path root;
    std::string resolved;
  };
  static LastRoot& last = *new LastRoot;
  std::filesystem::path root = UnresolvedRoot();
  if (root.empty()) return {};
  // A relative path depends on the current folder.
  if (root.is_relative()) return Resolved(root);
  const std::lock_guard lock(last.mutex);
  if (root != last.root) {
    last.resolved = Resolved(root);
    last.root = std::move(root);
  }
  return last.resolved;
}

std::string NativePath(const char* path) {
  std::string result = path == nullptr ? "" : path;
  std::replace(result.begin(), result.end(), '\\', '/');
  return result;
}

std::string NativePath(const WideChar* path) {
  if (path == nullptr) return {};
  return NativePath(Utf8FromWide(path).c_str());
}

std::string Utf8FromWide(WideStringView text) {
  std::string result(EncodeUtf8(text, nullptr, 0), '\0');
  EncodeUtf8(text, result.data(), result.size());
  return result;
}

WideString WideFromUtf8(std::string_view text) {
  bool valid = true;
  WideString result(DecodeUtf8(text, nullptr, 0, &valid), u'\0');
  DecodeUtf8(text, result.data(), result.size(), &valid);
  return result;
}

}  // namespace platform::posix
