#include "tools/ringreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "tools/json.h"
#include "tools/text.h"

namespace tools {
namespace {

using inspection::ring::Bytes;
using inspection::ring::Entry;
using inspection::ring::EntryState;
using inspection::ring::Finding;
using inspection::ring::Snapshot;

std::string TypeWord(std::uint32_t itemType) {
  const std::string_view word = channel::ItemWord(itemType);
  if (!word.empty()) return std::string(word);
  const std::string number = std::to_string(itemType);
  return number.size() <= 7 ? "type " + number : number;
}

std::string StateWord(EntryState state) {
  switch (state) {
    case EntryState::kComplete:
      return "complete";
    case EntryState::kIncomplete:
      return "incomplete";
    case EntryState::kDamaged:
      return "damaged";
  }
  return "unknown";
}

// The name up to the NUL, with a dot for each character that isn't printable ASCII.
std::string NameOf(const ContentRequest& record) {
  const char* const end = std::find(record.szBlockName, std::end(record.szBlockName), '\0');
  std::string name(record.szBlockName, static_cast<std::size_t>(end - record.szBlockName));
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '.');
  return name;
}

std::string Hex(const Bytes& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) text += fmt::format("{:02x} ", byte);
  if (!text.empty()) text.pop_back();
  return text;
}

std::string BlockWords(std::int32_t status) {
  switch (status) {
    case channel::kStatusFilling:
      return "the add-in is filling it";
    case channel::kStatusWaiting:
      return "waiting for the answer";
    case channel::kStatusGivenUp:
      return "the add-in has given up";
    default:
      return fmt::format("answered with {}", status);
  }
}

// The longest line, a split request with numbers of ten digits, has 80 columns.
std::string EntryLine(const Entry& entry) {
  std::string line =
      fmt::format("  {:>7} {:<10} {:>6} ", entry.offset, StateWord(entry.state), entry.length);
  if (entry.isRequest) {
    line += fmt::format("{:<12} {:>10}  {}", TypeWord(entry.record->dwItemType),
                        entry.record->dwBlockLength, NameOf(*entry.record).substr(7));
  } else if (entry.state == EntryState::kComplete) {
    line += "no request: " +
            Hex({entry.begin.begin(),
                 entry.begin.begin() +
                     static_cast<std::ptrdiff_t>(std::min<std::size_t>(entry.begin.size(), 8))});
  }
  if (entry.isSplit) line += " split";
  while (line.ends_with(' ')) line.pop_back();
  line += "\n";
  if (entry.blockStatus)
    line += fmt::format("          block: {}\n", BlockWords(*entry.blockStatus));
  return line;
}

std::string HeaderLines(const Snapshot& now) {
  const RingHeader& header = now.header;
  std::string text = fmt::format("  capacity       {:>10}\n", header.capacity);
  text += fmt::format("  used bytes     {:>10}", header.usedBytes);
  if (header.capacity > 0 && header.usedBytes >= 0) {
    constexpr int kBar = 20;
    const double share = std::min(1.0, double{1} * header.usedBytes / header.capacity);
    const auto filled = static_cast<std::size_t>(share * kBar);
    text += fmt::format("  [{:.<{}}] {:.1f} % full", std::string(filled, '#'), kBar, share * 100);
  }
  text += fmt::format("\n  write cursor   {:>10}", header.writeCursor);
  if (now.unreadable.empty()) {
    text += fmt::format("  offset {}", header.writeCursor % static_cast<unsigned>(header.capacity));
  }
  text += fmt::format("\n  consumer       {:>10}", header.consumerWord);
  if (now.unreadable.empty()) {
    text += fmt::format("  {} bytes behind the cursor", now.pending);
    if (!now.isStartFromWord) text += ", by used bytes";
  }
  return text + "\n";
}

}  // namespace

std::string RingReportText(const std::string& source, const Snapshot& now,
                           const std::vector<Finding>& findings, std::size_t width,
                           std::size_t mostEntries) {
  std::string text = source + "\n";
  if (now.hasHeader) text += HeaderLines(now);
  if (!now.entries.empty()) {
    text += "\n   offset state      length item              block  block's name\n";
    for (std::size_t i = 0; i < std::min(now.entries.size(), mostEntries); ++i) {
      text += EntryLine(now.entries[i]);
    }
    if (now.entries.size() > mostEntries) {
      text += fmt::format("  and {} more\n", now.entries.size() - mostEntries);
    }
  } else if (now.unreadable.empty()) {
    text += "\n  no entries\n";
  }
  text += "\n";
  for (const Finding& finding : findings) {
    text += Wrapped((finding.isFault ? "  FAULT  " : "  note   ") + finding.text, width, 9) + "\n";
  }
  if (findings.empty()) text += "  nothing is wrong\n";
  return text;
}

namespace {

Json EntryJson(const Entry& entry) {
  Json json = Json::Object();
  json.Add("position", entry.position)
      .Add("offset", entry.offset)
      .Add("state", StateWord(entry.state))
      .Add("length", entry.length)
      .Add("split", entry.isSplit);
  if (entry.isRequest) {
    json.Add("request", Json::Object()
                            .Add("pid", entry.record->dwProcessId)
                            .Add("tid", entry.record->dwThreadId)
                            .Add("type", entry.record->dwItemType)
                            .Add("block_length", entry.record->dwBlockLength)
                            .Add("block_name", NameOf(*entry.record))
                            .Add("block_status", entry.blockStatus));
  } else if (!entry.begin.empty()) {
    json.Add("begins", Hex(entry.begin));
  }
  return json;
}

}  // namespace

std::string RingReportJson(const std::string& source, const Snapshot& now,
                           const std::vector<Finding>& findings) {
  Json json = Json::Object();
  json.Add("source", source);
  if (now.hasHeader) {
    json.Add("header", Json::Object()
                           .Add("used_bytes", now.header.usedBytes)
                           .Add("write_cursor", now.header.writeCursor)
                           .Add("consumer_word", now.header.consumerWord)
                           .Add("capacity", now.header.capacity));
    json.Add("pending_bytes", now.pending);
  }
  Json entries = Json::Array();
  for (const Entry& entry : now.entries) entries.Add(EntryJson(entry));
  Json list = Json::Array();
  for (const Finding& finding : findings) {
    list.Add(Json::Object()
                 .Add("kind", FindingWord(finding.kind))
                 .Add("fault", finding.isFault)
                 .Add("text", finding.text));
  }
  return json.Add("entries", entries).Add("findings", list).Text();
}

}  // namespace tools
