// A log stream to a ring of five files.
#pragma once

#include <cstdint>
#include <mutex>

#include "logging/basestream.h"
#include "platform/scopedhandle.h"
#include "platform/widetext.h"

// Appends each line to the current file. When that has passed 100 MiB, the next one follows:
//
//   base_0.log -> base_1.log -> base_2.log -> base_3.log -> base_4.log -> base_0.log ...
//
// Rotation deletes the next file at once, not when the first line arrives, so the oldest lines go
// first.
//
// The first line opens the file. It stays open until rotation or destruction. Folders aren't
// created. New files give every user of the machine full access. Several processes may write to one
// file: each line goes to its current end.
class CFileStream : public CBaseStream {
 public:
  // `baseName` is the path up to the index. Unless it is empty, chooses the first index (see
  // FindStartIndex). Opens nothing.
  explicit CFileStream(platform::WideString baseName);

  // A line that can't be written is lost. If the file can't be opened, the next line tries again.
  // The line that passes the limit is written whole. Any thread may call. Throws std::system_error
  // if the mutex fails.
  void Write(const char* text) override;

  // Base name, "_", decimal index, ".log".
  platform::WideString MakeFileName(std::int32_t index) const;

  // The first index from 0 to m_nMaxFiles, inclusive, whose file is below the limit or has no
  // readable size; 0 if there is none. m_nMaxFiles is one more than rotation uses; 0 follows it.
  std::int32_t FindStartIndex() const;

 protected:
  platform::WideString m_strBaseName;
  platform::ScopedHandle m_hFile;
  std::int32_t m_nIndex = 0;
  const std::int32_t m_nMaxFiles = 5;
  const std::uint32_t m_uMaxSize = 104857600;  // bytes
  std::mutex m_mutex;  // guards file and index; locked after the logger's lock

 private:
  void Open();
  void Rotate();
};
