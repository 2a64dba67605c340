// Reads of files that are short or fail.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

#include "platform/files.h"
#include "platform/scopedreplacement.h"

namespace tests {

using ReplaceRead =
    platform::ScopedReplacement<platform::files, &platform::FileOperations::ReadFile>;

// Limits each read to so many bytes.
class SmallReads {
 public:
  explicit SmallReads(std::uint32_t most)
      : m_guard([most](auto original, auto file, void* buffer, std::uint32_t size,
                       std::uint32_t* read) {
          return original(file, buffer, std::min(size, most), read);
        }) {}

 private:
  ReplaceRead m_guard;
};

// Reads `first` bytes in one call. Every later call fails.
class BrokenRead {
 public:
  explicit BrokenRead(std::uint32_t first)
      : m_guard([first, done = false](auto original, auto file, void* buffer, std::uint32_t size,
                                      std::uint32_t* read) mutable {
          if (std::exchange(done, true) || first == 0) {
            *read = 0;
            return false;
          }
          return original(file, buffer, std::min(size, first), read);
        }) {}

 private:
  ReplaceRead m_guard;
};

// Counts the files and mappings that are opened and closed.
class OpenFiles {
 public:
  int Opened() const { return m_opened; }
  int Closed() const { return m_closed; }
  std::uint32_t LastAccess() const { return m_access; }
  std::uint32_t LastShare() const { return m_share; }
  std::uint32_t LastDisposition() const { return m_disposition; }

 private:
  int m_opened = 0;
  int m_closed = 0;
  std::uint32_t m_access = 0;
  std::uint32_t m_share = 0;
  std::uint32_t m_disposition = 0;
  platform::ScopedReplacement<platform::files, &platform::FileOperations::CreateFileA> m_open{
      [this](auto original, const char* path, std::uint32_t access, std::uint32_t share,
             auto security, std::uint32_t disposition, std::uint32_t attributes) {
        ++m_opened;
        m_access = access;
        m_share = share;
        m_disposition = disposition;
        return original(path, access, share, security, disposition, attributes);
      }};
  platform::ScopedReplacement<platform::handles, &platform::HandleOperations::CloseHandle> m_close{
      [this](auto original, auto handle) {
        ++m_closed;
        return original(handle);
      }};
};

}  // namespace tests
