#include "simulation/agent/contentfile.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "platform/codepages.h"
#include "platform/files.h"
#include "platform/scopedhandle.h"
#include "simulation/agent/sha256.h"

namespace simulation::agent {
namespace {

// Empty if `path` isn't valid UTF-8.
platform::WideString WidePath(const std::string& path) {
  constexpr auto kLongest = static_cast<std::size_t>(std::numeric_limits<int>::max());
  if (path.empty() || path.size() > kLongest) return {};
  const int size = static_cast<int>(path.size());
  const int needed = platform::codepages.MultiByteToWideChar(
      platform::kCodePageUtf8, platform::kFailOnInvalid, path.data(), size, nullptr, 0);
  if (needed <= 0) return {};
  platform::WideString wide(static_cast<std::size_t>(needed), platform::WideChar{});
  const int written = platform::codepages.MultiByteToWideChar(
      platform::kCodePageUtf8, platform::kFailOnInvalid, path.data(), size, wide.data(), needed);
  wide.resize(static_cast<std::size_t>(std::max(written, 0)));
  return wide;
}

platform::Handle OpenForReading(const std::string& path) {
  // A NUL would truncate the path and open a different file.
  if (path.empty() || path.find('\0') != std::string::npos) return platform::kInvalidHandle;
  const platform::WideString wide = WidePath(path);
  platform::Handle file = platform::kInvalidHandle;
  if (!wide.empty()) {
    file = platform::files.CreateFileW(wide.c_str(), platform::kGenericRead,
                                       platform::kShareReadWrite, nullptr, platform::kOpenExisting,
                                       platform::kFileAttributeNormal);
  }
  if (file == platform::kInvalidHandle) {
    file = platform::files.CreateFileA(path.c_str(), platform::kGenericRead,
                                       platform::kShareReadWrite, nullptr, platform::kOpenExisting,
                                       platform::kFileAttributeNormal);
  }
  return file;
}

}  // namespace

std::optional<ContentFile> ReadContentFile(const std::string& path, std::uint64_t headLimit) {
  const platform::ScopedHandle file(OpenForReading(path));
  if (!file.IsOpen()) return std::nullopt;
  ContentFile content;
  Sha256 hash;
  constexpr std::uint32_t kBufferSize = 1U << 16;
  const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
  bool whole = false;
  for (;;) {
    std::uint32_t read = 0;
    if (!platform::files.ReadFile(file.Get(), buffer.get(), kBufferSize, &read)) break;
    if (read == 0) {
      whole = true;
      break;
    }
    hash.Add({buffer.get(), read});
    const std::uint64_t kept = std::min<std::uint64_t>(
        read, headLimit - std::min<std::uint64_t>(headLimit, content.bytes));
    content.head.append(buffer.get(), static_cast<std::size_t>(kept));
    content.bytes += read;
  }
  if (!whole) return std::nullopt;
  content.sha256 = hash.Finish();
  return content;
}

}  // namespace simulation::agent
