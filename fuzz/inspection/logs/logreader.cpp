// The reader of logs in any encoding. The first byte says in which pieces the stream delivers the
// rest, which is arbitrary: gzip, UTF-16, any line ends. Reading in pieces, with a pause at the end
// of each, finds the same lines as reading at once; no line is too long or has a line end in it.
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzzing.h"
#include "inspection/logs/logreader.h"

namespace {

using fuzzing::Require;
using inspection::logs::LogReader;

void TakeLines(LogReader& reader, std::vector<std::string>* lines) {
  for (std::string_view line; reader.Next(&line);) {
    Require(line.size() <= inspection::logs::kMaxLogLine, "no line is longer than the limit");
    Require(line.find_first_of("\r\n") == std::string_view::npos, "no line has a line end");
    lines->emplace_back(line);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  const std::size_t piece = std::size_t{input.Byte()} + 1;
  const std::string bytes(input.Rest());

  std::vector<std::string> whole;
  std::istringstream stream(bytes);
  LogReader reader(stream);
  TakeLines(reader, &whole);
  std::string_view none;
  Require(!reader.Next(&none), "the end stays the end");

  // Compressed data is read as a whole: what is missing at a pause would count as damage.
  if (bytes.starts_with("\x1F\x8B")) return 0;
  std::vector<std::string> followed;
  std::stringstream growing;
  LogReader follower(growing);
  follower.HoldIncomplete(true);
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    growing.clear();
    growing.write(bytes.data() + at,
                  static_cast<std::streamsize>(std::min(piece, bytes.size() - at)));
    follower.Resume();
    TakeLines(follower, &followed);
  }
  follower.HoldIncomplete(false);
  follower.Resume();
  TakeLines(follower, &followed);
  Require(followed == whole, "pauses change nothing");
  return 0;
}
