// Reading a text file line by line, as the C runtime's text mode has it on every build: the pair
// CR LF becomes LF, every other byte (0x1A and NUL included) stays as it is.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/scopedhandle.h"

namespace platform {

// Holds the file open for its lifetime; for one thread.
class TextLines {
 public:
  // Opens for reading, shared with readers and writers. See IsOpen: no line ever comes from a file
  // that could not be opened, or from a null path.
  explicit TextLines(const char* path);

  bool IsOpen() const { return m_file.IsOpen(); }

  // Gives the next line without its LF, valid until the next call. The last line counts also
  // without a line end. False at the end of the file, and when a read fails: what was read of an
  // unfinished line is then dropped only if it is empty. A line is held in memory whole, however
  // long it is; NextPiece is for callers that must not rely on short lines.
  bool Next(std::string_view* line);

  // Like the runtime's fgets: gives at most `limit` characters (at least 1), the LF among them if
  // the line ended within the limit; CR LF counts as the one character that it becomes. The rest
  // of a longer line is the next call's. Valid until the next call, false as with Next.
  bool NextPiece(std::size_t limit, std::string_view* piece);

 private:
  // Reads more behind what is there. False when nothing came: the end, a failure, or not open.
  bool Fill();

  ScopedHandle m_file;
  bool m_ended = false;
  std::vector<char> m_buffer;
  std::size_t m_begin = 0;  // what was read and not yet given: [m_begin, m_end)
  std::size_t m_end = 0;
};

}  // namespace platform
