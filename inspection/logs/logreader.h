// Reading the lines of a log, whatever its encoding.
#pragma once

#include <cstddef>
#include <istream>
#include <memory>
#include <string>
#include <string_view>

namespace inspection::logs {

// Splits a stream into lines. Understands gzip (several members too), UTF-8 with and without a byte
// order mark, UTF-16 of either byte order, and lines that end with CR LF, LF or CR. Memory doesn't
// depend on the stream's length. For one thread.
class LogReader {
 public:
  // `stream` must be binary and outlive this object.
  explicit LogReader(std::istream& stream);
  ~LogReader();

  LogReader(const LogReader&) = delete;
  LogReader& operator=(const LogReader&) = delete;

  // The next line without its line end, valid until the next call. Of a line of more than
  // kMaxLogLine bytes only the beginning. False at the end of the stream and after a failure.
  bool Next(std::string_view* line);

  // For a file that is still being written: call it when Next has returned false, to go on with
  // what was written since.
  void Resume();
  // Whether Next waits for the end of an incomplete last line instead of returning it as a line.
  // Set it while the file is being written, or half a line and its rest count as two lines.
  void HoldIncomplete(bool isHeld) { m_holdsIncomplete = isHeld; }

  // Why reading stopped before the stream's end, in words; empty if it didn't.
  const std::string& Error() const { return m_error; }

 private:
  struct Inflater;

  bool Fill();
  std::string_view Decompressed(std::string_view bytes);
  void Append(std::string_view bytes);
  void AppendUtf16(std::string_view bytes);

  std::istream& m_stream;
  std::string m_chunk;  // read from the stream
  std::unique_ptr<Inflater> m_inflater;
  std::string m_decompressed;
  enum class Encoding {
    kUndecided,
    kBytes,
    kLittleEndian,
    kBigEndian
  } m_encoding = Encoding::kUndecided;
  bool m_atStart = true;
  std::string m_odd;    // the first bytes of an incomplete UTF-16 unit, or of an undecided encoding
  unsigned m_high = 0;  // a surrogate that waits for its partner
  std::string m_text;   // decoded, not yet returned from m_begin on
  std::size_t m_begin = 0;
  bool m_isSkipping = false;  // the rest of a line that was too long
  bool m_afterCr = false;     // a LF here belongs to the CR before it
  bool m_ended = false;
  bool m_holdsIncomplete = false;
  std::string m_error;
};

inline constexpr std::size_t kMaxLogLine = 65'536;

}  // namespace inspection::logs
