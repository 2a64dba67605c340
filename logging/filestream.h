// Log lines in a ring of five files.
#pragma once

#include <cstdint>
#include <mutex>

#include "logging/basestream.h"
#include "platform/scopedhandle.h"
#include "platform/widetext.h"

// Appends each line to the file in use; a file that has passed 100 MiB gives way to the next:
//
//   base_0.log -> base_1.log -> base_2.log -> base_3.log -> base_4.log -> base_0.log ...
//
// The file of the new index is deleted at the moment of the change, not when it is filled, so the
// oldest lines go first and there are never more than five files with old lines in them.
//
// The file is opened by the first line, stays open, and is closed by a change of files and by the
// destructor. No folder is made. Any user of the machine gets full access to a file made here.
// Several processes may write to one file: each line goes to what is the end at that moment.
class CFileStream : public CBaseStream {
 public:
  // `baseName` is the path and name up to the index. Chooses the index to begin with (see
  // FindStartIndex) unless the name is empty; opens nothing.
  explicit CFileStream(platform::WideString baseName);

  // A line that can't be written is lost; a file that can't be opened is tried again by the next
  // line. The line that passes the cap is still written whole. May be called from any thread;
  // a failure of the mutex raises std::system_error.
  void Write(const char* text) override;

  // The base name, "_", the index in decimal and ".log".
  platform::WideString MakeFileName(std::int32_t index) const;

  // The first of the indices 0 to m_nMaxFiles, one more than the ring has, whose file is below the
  // cap or can't be asked for its size; 0 if all are full. From the extra index the first change
  // of files leads back to 0.
  std::int32_t FindStartIndex() const;

 protected:
  platform::WideString m_strBaseName;
  platform::ScopedHandle m_hFile;
  std::int32_t m_nIndex = 0;
  const std::int32_t m_nMaxFiles = 5;
  const std::uint32_t m_uMaxSize = 104857600;  // bytes
  std::mutex
      m_mutex;  // guards the file and the index; taken inside the logger's lock, never around

 private:
  void Open();
  void Rotate();
};
