// Reads a text file line by line, like the C runtime's text mode on Windows: CR LF becomes LF,
// every other byte (including 0x1A and NUL) stays.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/scopedhandle.h"

namespace platform {

// Keeps the file open while it exists. For one thread.
class TextLines {
 public:
  // Opens `path` for reading, shared for reading and writing. If that fails, or `path` is null,
  // IsOpen() is false and there are no lines.
  explicit TextLines(const char* path);

  bool IsOpen() const { return m_file.IsOpen(); }

  // Returns the next line without its LF, valid until the next call. The last line may lack its LF.
  // Returns false at the end of the file and after a failed read, which ends the last line like the
  // end of the file. The whole line is held in memory; use NextPiece to bound that.
  bool Next(std::string_view* line);

  // Like fgets: returns at most `limit` characters (at least 1), including the LF if the line ends
  // within the limit. CR LF counts as one character. The rest of a longer line follows with the
  // next call. Valid until the next call; returns false like Next.
  bool NextPiece(std::size_t limit, std::string_view* piece);

 private:
  // Reads more data. Returns false at the end of the file, on failure, or if no file is open.
  bool Fill();

  ScopedHandle m_file;
  bool m_ended = false;
  std::vector<char> m_buffer;
  std::size_t m_begin = 0;  // [m_begin, m_end) is read but not yet returned
  std::size_t m_end = 0;
};

}  // namespace platform
