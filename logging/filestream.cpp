#include "logging/filestream.h"

#include <cstring>
#include <string>
#include <utility>

#include "platform/files.h"
#include "platform/security.h"

CFileStream::CFileStream(platform::WideString baseName) : m_strBaseName(std::move(baseName)) {
  if (!m_strBaseName.empty()) m_nIndex = FindStartIndex();
}

platform::WideString CFileStream::MakeFileName(std::int32_t index) const {
  platform::WideString name = m_strBaseName + QV_WIDE("_");
  for (const char digit : std::to_string(index)) {
    name += static_cast<platform::WideChar>(digit);
  }
  return name + QV_WIDE(".log");
}

std::int32_t CFileStream::FindStartIndex() const {
  for (std::int32_t index = 0; index <= m_nMaxFiles; ++index) {
    std::uint64_t size = 0;
    if (!platform::files.GetFileAttributesExW(MakeFileName(index).c_str(), &size)) return index;
    if (size < m_uMaxSize) return index;
  }
  return 0;
}

void CFileStream::Write(const char* text) {
  if (text == nullptr || *text == '\0') return;
  const auto length = static_cast<std::uint32_t>(std::strlen(text));
  const std::lock_guard lock(m_mutex);
  if (!m_hFile.IsOpen()) Open();
  if (!m_hFile.IsOpen()) return;

  // Seek for each line: another process may have appended.
  std::int32_t high = 0;
  const std::uint32_t low =
      platform::files.SetFilePointer(m_hFile.Get(), 0, &high, platform::kFileEnd);
  if (high == -1) return;

  std::uint32_t written = 0;
  platform::files.WriteFile(m_hFile.Get(), text, length, &written);
  // The sum may wrap around, but then the high half isn't 0.
  const std::uint32_t end = low + length;
  if (high != 0 || end > m_uMaxSize) Rotate();
}

void CFileStream::Open() {
  // The second call replaces the list in the text by a null one, so that processes of all users can
  // write. If there is no descriptor, the system default applies.
  platform::SecurityDescriptor* descriptor = nullptr;
  platform::security.ConvertStringSecurityDescriptorToSecurityDescriptorW(
      QV_WIDE("D:(A;OICI;GA;;;S-1-1-0)"), &descriptor);
  platform::security.SetSecurityDescriptorDacl(descriptor);
  m_hFile = platform::ScopedHandle(platform::files.CreateFileW(
      MakeFileName(m_nIndex).c_str(), platform::kGenericReadWrite, platform::kShareReadWrite,
      descriptor, platform::kOpenAlways, platform::kFileAttributeNormal));
  platform::security.LocalFree(descriptor);
}

void CFileStream::Rotate() {
  m_hFile.Close();
  // Not a remainder: the index may start at m_nMaxFiles itself, which 0 also follows.
  ++m_nIndex;
  if (m_nIndex >= m_nMaxFiles) m_nIndex = 0;
  platform::files.DeleteFileW(MakeFileName(m_nIndex).c_str());
}
