// Reads files of recorded results line by line, in constant memory.
#pragma once

#include <cstddef>
#include <functional>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/comparison/recordedmail.h"

namespace inspection::comparison {

// A longer line is reported as bad. Bytes.
inline constexpr std::size_t kMaxLine = std::size_t{64} << 20;

// A line that holds no result.
struct BadLine {
  std::string file;
  std::size_t line = 0;  // from 1
  std::string why;
};

class ResultReader {
 public:
  using Take = std::function<void(const RecordedMail&)>;

  // `take` gets each mail, which stays valid during that call only. With `needsNames` a mail
  // without a name is a bad line: it can't be paired with another run's.
  explicit ResultReader(Take take, bool needsNames = false)
      : m_take(std::move(take)), m_needsNames(needsNames) {}

  // Reads a whole file, or standard input for "-". Empty lines, CR LF and a byte order mark are
  // fine. False if it can't be read to its end; `*error` then says why, without the path.
  bool ReadFile(const std::string& path, std::string* error);
  // The same for any stream. `name` is what BadLine::file says.
  bool Read(std::istream& stream, const std::string& name, std::string* error);

  // One line that the caller has read, without its line end.
  void ReadLine(std::string_view line, const std::string& name, std::size_t number);

  std::size_t Mails() const { return m_mails; }
  std::size_t BadLines() const { return m_badLines; }
  // The first kShownBadLines of them.
  const std::vector<BadLine>& ShownBadLines() const { return m_shown; }

  static constexpr std::size_t kShownBadLines = 20;

 private:
  void Bad(const std::string& name, std::size_t number, std::string why);

  Take m_take;
  bool m_needsNames;
  RecordedMail m_mail;
  std::size_t m_mails = 0;
  std::size_t m_badLines = 0;
  std::vector<BadLine> m_shown;
};

}  // namespace inspection::comparison
