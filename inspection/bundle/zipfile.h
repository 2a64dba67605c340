// The .zip container: what `quorvex bundle` writes, and what any program may have made of it since.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace inspection::bundle {

struct ZipEntry {
  std::string name;  // UTF-8, with "/" between folders
  std::string bytes;
};

// The same entries always give the same bytes: all have the same date. Together less than 4 GiB.
std::string WriteZip(const std::vector<ZipEntry>& entries);

// The most that ReadZip decompresses.
inline constexpr std::size_t kMostUnzippedBytes = std::size_t{1} << 30;

// Reads all entries but folders. Understands stored and deflated ones, checks their sums, and never
// reads outside `bytes`. False, with the reason in `*error`, if it is something else, is damaged,
// or takes more than kMostUnzippedBytes.
bool ReadZip(const std::string& bytes, std::vector<ZipEntry>* entries, std::string* error);

// True if the bytes begin like a .zip.
bool IsZip(const std::string& bytes);

}  // namespace inspection::bundle
