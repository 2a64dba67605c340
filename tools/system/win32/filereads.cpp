#include "tools/system/filereads.h"

#include <windows.h>

#include <cstdint>

#include "tools/system/win32/utf8.h"

namespace tools::system {
namespace {

// 1 January 1990, in units of 100 ns since 1601.
constexpr std::uint64_t kOld = 122'761'440'000'000'000;

class File {
 public:
  File(const std::string& path, DWORD access)
      : m_handle(CreateFileW(win32::ToWide(path).c_str(), access,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, 0, nullptr)) {}
  ~File() {
    if (m_handle != INVALID_HANDLE_VALUE) CloseHandle(m_handle);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  HANDLE Get() const { return m_handle; }

 private:
  HANDLE m_handle;
};

bool SetBack(const std::string& path) {
  const File file(path, FILE_WRITE_ATTRIBUTES);
  const FILETIME old = {static_cast<DWORD>(kOld), static_cast<DWORD>(kOld >> 32)};
  return SetFileTime(file.Get(), nullptr, &old, nullptr) != 0;
}

}  // namespace

bool WatchReads(const std::string& path) {
  if (!SetBack(path)) return false;
  {
    const File file(path, GENERIC_READ);
    char byte = 0;
    DWORD count = 0;
    if (ReadFile(file.Get(), &byte, 1, &count, nullptr) == 0 || count != 1) return false;
  }
  return WasRead(path) && SetBack(path);
}

bool WasRead(const std::string& path) {
  const File file(path, FILE_READ_ATTRIBUTES);
  FILETIME access{};
  if (GetFileTime(file.Get(), nullptr, &access, nullptr) == 0) return false;
  return (std::uint64_t{access.dwHighDateTime} << 32 | access.dwLowDateTime) != kOld;
}

}  // namespace tools::system
