// A saved ring of arbitrary bytes. The first byte splits the input into two copies of the same
// ring. All decoded entries are inside the copy and add up, each finding has a text, the JSON
// report parses, and the text report fits into 80 columns.
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "fuzz/fuzzing.h"
#include "inspection/ring/ringview.h"
#include "tools/ringreport.h"

namespace {

using fuzzing::Require;

inspection::ring::Bytes BytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

void CheckEntries(const inspection::ring::Snapshot& now) {
  const auto capacity = static_cast<std::uint32_t>(now.header.capacity);
  std::uint32_t position = now.start;
  for (const inspection::ring::Entry& entry : now.entries) {
    Require(entry.position == position, "entries are back to back");
    Require(entry.offset == position % capacity, "an entry's place");
    Require(entry.size >= 4 && entry.size <= now.pending, "an entry's size");
    Require(entry.size <= now.pending - (position - now.start), "no entry passes the cursor");
    Require(!entry.isRequest || entry.record.has_value(), "a request has its record");
    Require(entry.begin.size() <= 16, "the first bytes of a payload");
    position += entry.size;
  }
  Require(now.dirtyFreeBytes <= capacity - now.pending, "free space is what isn't pending");
}

void CheckText(const std::string& text) {
  std::size_t column = 0;
  for (const char c : text) {
    Require(c == '\n' || (c >= 0x20 && c < 0x7F), "only characters that a terminal shows");
    column = c == '\n' ? 0 : column + 1;
    Require(column <= 80, "80 columns");
  }
}

inspection::ring::Snapshot Look(const inspection::ring::Bytes& bytes,
                                const inspection::ring::Snapshot* before) {
  const inspection::ring::Snapshot now = inspection::ring::Decode(bytes);
  Require(now.hasHeader == (bytes.size() >= 16), "a header if there are enough bytes");
  if (now.unreadable.empty()) CheckEntries(now);
  const auto findings = inspection::ring::Diagnose(now, before, 500);
  for (const inspection::ring::Finding& finding : findings) {
    Require(!finding.text.empty() && !inspection::ring::FindingWord(finding.kind).empty(),
            "it has words");
  }
  CheckText(tools::RingReportText("saved", now, findings));
  const auto json = nlohmann::json::parse(tools::RingReportJson("saved", now, findings));
  Require(json["findings"].size() == findings.size(), "every finding is in the JSON");
  return now;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  const std::size_t cut = input.Half();
  const inspection::ring::Bytes first = BytesOf(input.Bytes(cut));
  const inspection::ring::Bytes second = BytesOf(input.Rest());
  const inspection::ring::Snapshot before = Look(first, nullptr);
  Look(second, before.unreadable.empty() ? &before : nullptr);
  return 0;
}
