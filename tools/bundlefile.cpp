#include "tools/bundlefile.h"

#include <array>
#include <fstream>
#include <iterator>

#include "tools/command.h"
#include "tools/inputfile.h"
#include "tools/text.h"

namespace tools {

bool IsBundle(const std::string& path) {
  std::array<char, 4> mark{};
  std::ifstream(PathOf(path), std::ios::binary).read(mark.data(), mark.size());
  return inspection::bundle::IsZip({mark.data(), mark.size()});
}

std::string ReadWholeFile(const std::string& path, int status) {
  std::ifstream file(PathOf(path), std::ios::binary);
  if (!file) RefuseFile(path, status);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<inspection::bundle::ZipEntry> ReadBundle(const std::string& path, int status) {
  std::vector<inspection::bundle::ZipEntry> entries;
  std::string error;
  if (!inspection::bundle::ReadZip(ReadWholeFile(path, status), &entries, &error)) {
    throw CommandError(Printable(path) + ": " + error, status);
  }
  return entries;
}

}  // namespace tools
