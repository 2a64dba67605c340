#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>

#include "inspection/ring/ringview.h"

namespace inspection::ring {
namespace {

constexpr std::size_t kColumns = 80;

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

// Up to the NUL, whatever else stands there shown as dots.
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

// The longest, a request with numbers of ten digits and the mark at its end, has 80 columns.
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
  return line + "\n";
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
    if (!now.isStartFromWord) text += ", by the used bytes";
  }
  return text + "\n";
}

// Breaks between words, with the lines after the first indented.
std::string Wrapped(const std::string& words, const std::string& first) {
  std::string text = first;
  std::size_t column = first.size();
  for (std::size_t at = 0; at < words.size();) {
    const std::size_t end = std::min(words.find(' ', at), words.size());
    if (column + (end - at) > kColumns) {
      while (text.ends_with(' ')) text.pop_back();
      text += "\n" + std::string(first.size(), ' ');
      column = first.size();
    }
    text += words.substr(at, end - at) + " ";
    column += end - at + 1;
    at = end + 1;
  }
  while (text.ends_with(' ')) text.pop_back();
  return text + "\n";
}

}  // namespace

std::string ReportText(const std::string& source, const Snapshot& now,
                       const std::vector<Finding>& findings, std::size_t mostEntries) {
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
    text += Wrapped(finding.text, finding.isFault ? "  FAULT  " : "  note   ");
  }
  if (findings.empty()) text += "  nothing is wrong\n";
  return text;
}

std::string ReportJson(const std::string& source, const Snapshot& now,
                       const std::vector<Finding>& findings) {
  using Json = nlohmann::ordered_json;
  Json json = {{"source", source}};
  if (now.hasHeader) {
    json["header"] = {{"used_bytes", now.header.usedBytes},
                      {"write_cursor", now.header.writeCursor},
                      {"consumer_word", now.header.consumerWord},
                      {"capacity", now.header.capacity}};
    json["pending_bytes"] = now.pending;
  }
  json["entries"] = Json::array();
  for (const Entry& entry : now.entries) {
    Json one = {{"position", entry.position},
                {"offset", entry.offset},
                {"state", StateWord(entry.state)},
                {"length", entry.length},
                {"split", entry.isSplit}};
    if (entry.isRequest) {
      one["request"] = {{"pid", entry.record->dwProcessId},
                        {"tid", entry.record->dwThreadId},
                        {"type", entry.record->dwItemType},
                        {"block_length", entry.record->dwBlockLength},
                        {"block_name", NameOf(*entry.record)}};
    } else if (!entry.begin.empty()) {
      one["begins"] = Hex(entry.begin);
    }
    json["entries"].push_back(std::move(one));
  }
  json["findings"] = Json::array();
  for (const Finding& finding : findings) {
    json["findings"].push_back(
        {{"kind", FindingWord(finding.kind)}, {"fault", finding.isFault}, {"text", finding.text}});
  }
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace inspection::ring
