// Reading a text file line by line, as the C runtime's text mode has it on every build: the pair
// CR LF becomes LF, every other byte (0x1A and NUL included) stays as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handles.h"

namespace platform {

class TextLines {
 public:
  // Opens for reading, shared with readers and writers. See IsOpen.
  explicit TextLines(const char* path);
  ~TextLines();

  TextLines(const TextLines&) = delete;
  TextLines& operator=(const TextLines&) = delete;

  bool IsOpen() const;

  // Gives the next line without its LF, valid until the next call. The last line counts also
  // without a line end. False at the end of the file, and when a read fails: what was read of an
  // unfinished line is then dropped only if it is empty.
  bool Next(std::string_view* line);

  // Like the runtime's fgets: gives at most `limit` characters, the LF among them if the line
  // ended within the limit. The rest of a longer line is the next call's.
  bool NextPiece(std::size_t limit, std::string_view* piece);

 private:
  bool Fill();

  Handle m_file;
  std::vector<char> m_buffer;
  std::size_t m_begin = 0;
  std::size_t m_end = 0;
  std::string m_joined;  // a line that needed more than one buffer, or lost a CR in its middle
};

}  // namespace platform
