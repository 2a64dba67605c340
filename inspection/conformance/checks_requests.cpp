// Checks of single requests: the block, the answer, the item types, the files.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "inspection/conformance/session.h"
#include "text/textconversion.h"

namespace inspection::conformance {
namespace {

// Long enough for an agent that looks at its blocks every few milliseconds.
constexpr std::uint32_t kBlockLookMs = 60;
constexpr std::uint32_t kHeaderMs = 1'000;

// The block's name with its digits in upper case.
std::string UpperCase(std::string text) {
  const auto digits = text.begin() + static_cast<std::ptrdiff_t>(text.find('\\') + 1);
  std::transform(digits, text.end(), digits, [](char c) {
    return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return text;
}

std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// The paths of subject and body are in the ANSI code page, those of attachments in UTF-8.
std::string PayloadOf(const std::string& path, std::string_view file) {
  const bool isAnsi = file == channel::kSubjectFile || file == channel::kBodyFile;
  return isAnsi ? Utf8ToAnsi(path) : path;
}

// One item of each type.
std::deque<Requester> EachType(Session& session) {
  std::deque<Requester> items;
  items.push_back(session.Ask(0, channel::kItemRecipients, Addresses(1)));
  items.push_back(session.Ask(0, channel::kItemSender, "Conform"));
  items.push_back(session.Ask(0, channel::kItemEnvelope));
  const std::string path = session.Settings().folder + channel::kSubjectFile;
  if (!session.Settings().folder.empty()) {
    std::ofstream(PathOf(path), std::ios::binary) << "conform";
    items.push_back(session.Ask(0, channel::kItemFile, PayloadOf(path, channel::kSubjectFile),
                                channel::kSubjectFile));
  }
  items.push_back(session.Ask(0, channel::kItemClose));
  std::error_code error;
  if (!session.Settings().folder.empty()) std::filesystem::remove(PathOf(path), error);
  return items;
}

std::string TypeOf(Requester& request) {
  const std::uint32_t type = request.Record().dwItemType;
  return "item " + Text(type) + " (" + std::string(channel::ItemWord(type)) + ")";
}

// What became of each, in one text.
std::string EndsOf(std::deque<Requester>& items) {
  std::string text;
  for (Requester& item : items) {
    text += (text.empty() ? "" : "; ") + TypeOf(item) + ": " + EndOf(item);
  }
  return text;
}

}  // namespace

void CheckRing(Session& session, Result& result) {
  if (!session.Ring().Open(session.Settings().ring)) {
    return Fail(result, Rule::kRing, "the ring's mapping is too small",
                "the 262164 bytes that the add-in maps can't be mapped");
  }
  // An agent that has just been started may still be writing the header.
  session.WaitFor(kHeaderMs, [&session] { return session.Ring().Capacity() != 0; });
  const std::int32_t capacity = session.Ring().Capacity();
  const std::string seen = "capacity " + std::to_string(capacity) + ", used bytes " +
                           std::to_string(session.Ring().Used()) + ", write cursor " +
                           Text(session.Ring().Cursor());
  if (capacity != static_cast<std::int32_t>(channel::kRingCapacity)) {
    return Fail(result, Rule::kCapacity, "the ring has another capacity", seen);
  }
  Pass(result, seen);
}

void CheckBlock(Session& session, Result& result) {
  Requester request = session.New(0, channel::kItemClose);
  const std::string name = request.BlockName();
  request.Push(session.Ring());
  if (request.Now() == Requester::State::kRefused) {
    return Fail(result, Rule::kFree, "the ring is full",
                "used bytes " + std::to_string(session.Ring().Used()));
  }
  if (!session.OpenBlock(request)) {
    if (Exists(UpperCase(name))) {
      return Fail(result, Rule::kNameCase, "the block's name is changed to upper case",
                  "the record says " + name + ", and the block is " + UpperCase(name));
    }
    return Fail(result, Rule::kBlock, "the agent creates no block", "no " + name);
  }
  char took[32];
  std::snprintf(took, sizeof(took), "%.1f", request.BlockMs());
  Pass(result, "a block of " + Text(request.BlockLength()) + " bytes after " + took + " ms");
  std::deque<Requester> one;
  one.push_back(std::move(request));
  session.Finish(one);
}

void CheckAnswered(Session& session, Result& result) {
  const Requester request = session.Ask(0, channel::kItemClose);
  if (request.IsAnswered()) return Pass(result, EndOf(request));
  Fail(result, Rule::kAnswer, "the agent doesn't answer",
       "the status word was last " + std::to_string(request.Answer()));
}

void CheckItemTypes(Session& session, Result& result) {
  std::deque<Requester> items = EachType(session);
  for (Requester& item : items) {
    if (!item.IsAnswered()) {
      return Fail(result, Rule::kAnswer, "the agent doesn't answer " + TypeOf(item), EndsOf(items));
    }
  }
  Pass(result, Text(static_cast<std::uint32_t>(items.size())) + " item types, each answered");
}

void CheckUsableAnswers(Session& session, Result& result) {
  std::deque<Requester> items = EachType(session);
  for (Requester& item : items) {
    if (!channel::IsAccepted(item.Answer())) {
      return Fail(result, Rule::kUsableAnswer,
                  "the agent answers " + TypeOf(item) + " with " + std::to_string(item.Answer()) +
                      ", which counts as no answer",
                  EndsOf(items));
    }
  }
  Pass(result, EndsOf(items));
}

void CheckUnknownTypes(Session& session, Result& result) {
  constexpr std::array<std::uint32_t, 4> kUnknownTypes = {0, 2, 10, 0xFFFF'FFFF};
  std::deque<Requester> items;
  for (const std::uint32_t type : kUnknownTypes) items.push_back(session.Ask(0, type, "conform"));
  session.Ask(0, channel::kItemClose);
  for (Requester& item : items) {
    if (item.Answer() != channel::kActionGoOn || !item.IsAnswered()) {
      return Fail(result, Rule::kUnknownType,
                  item.IsAnswered() ? "the agent doesn't let an unknown item type pass"
                                    : "the agent doesn't answer an unknown item type",
                  "type " + Text(item.Record().dwItemType) + ": " + EndOf(item));
    }
  }
  Pass(result, "types 0, 2, 10 and 4294967295: each answered 4");
}

void CheckRecipients(Session& session, Result& result) {
  const Requester request = session.Ask(0, channel::kItemRecipients, Addresses(1));
  session.Ask(0, channel::kItemClose);
  const std::string seen = "conform@a.example was " + EndOf(request);
  if (request.Answer() == channel::kActionGoOn) return Pass(result, seen);
  Fail(result, Rule::kRecipients,
       "the answer to the recipients keeps the add-in from asking about the content", seen);
}

// An agent that decides by the files' names need not read them, and whether one makes anything of
// what it reads can't be seen without an agreement about mails.
void CheckFilesRead(Session& session, Result& result) {
  const Options& options = session.Settings();
  if (options.folder.empty() || !options.probe.watch) {
    return LeaveOut(result, "there is no folder for files");
  }
  struct File {
    const char* file;
    const char* name;
    bool isRead;
  };
  std::array<File, 3> files = {{{channel::kSubjectFile, channel::kSubjectFile, false},
                                {channel::kBodyFile, channel::kBodyFile, false},
                                {"OutlookAttachment.1", "conform.txt", false}}};
  session.Ask(0, channel::kItemRecipients, Addresses(1));
  std::string unread;
  for (File& file : files) {
    const std::string path = options.folder + file.file;
    std::ofstream(PathOf(path), std::ios::binary) << "A harmless text of quorvex conform.\n";
    if (!options.probe.watch(path)) {
      return Unknown(result,
                     "this system doesn't record when a file is read; --expect shows whether the "
                     "agent does");
    }
    session.Ask(0, channel::kItemFile, PayloadOf(path, file.file), file.name);
    // An agent may also read it until item 9.
    session.WaitFor(kBlockLookMs, [&] { return options.probe.wasRead(path); });
    if (!options.probe.wasRead(path))
      unread += (unread.empty() ? "" : ", ") + std::string(file.name);
  }
  session.Ask(0, channel::kItemClose);
  for (const File& file : files) {
    std::error_code error;
    std::filesystem::remove(PathOf(options.folder + file.file), error);
  }
  if (unread.empty()) return Pass(result, "subject, body and an attachment were read");
  LeaveOut(result,
           "the agent answered without reading " + unread +
               ": it ignores files or decides by their names, which only --expect can show");
}

void CheckMissingFile(Session& session, Result& result) {
  const std::string folder = session.Settings().folder.empty() ? "/" : session.Settings().folder;
  std::deque<Requester> items;
  const std::array<std::string, 4> payloads = {folder + "no-such-file", folder, "",
                                               std::string("a\0b\xFF", 4)};
  for (const std::string& payload : payloads) {
    items.push_back(session.Ask(0, channel::kItemFile, payload, "conform.txt"));
  }
  session.Ask(0, channel::kItemClose);
  constexpr std::array<const char*, 4> kWords = {"a file that doesn't exist", "a folder",
                                                 "an empty path", "a path with a NUL"};
  for (std::uint32_t i = 0; i < items.size(); ++i) {
    if (items[i].IsAnswered()) continue;
    return Fail(result, Rule::kAnswer, std::string("the agent doesn't answer about ") + kWords[i],
                EndOf(items[i]));
  }
  Pass(result, "a missing file, a folder, an empty path and one with a NUL: all answered");
}

void CheckBlockSizes(Session& session, Result& result) {
  constexpr std::uint32_t kMany = (1U << 20) / 18 + 1;  // 1 MB of addresses
  for (const std::uint32_t count : {1U, 3U, kMany}) {
    std::deque<Requester> one;
    one.push_back(session.New(0, channel::kItemRecipients, Addresses(count)));
    Requester& request = one.front();
    request.Push(session.Ring());
    bool isThere = false;
    session.WaitFor(session.Settings().blockWaitMs, [&] {
      if (request.OpenBlock()) return true;
      isThere = isThere || Exists(request.BlockName());
      return false;
    });
    session.Finish(one);
    if (one.front().IsAnswered()) continue;
    return Fail(result, Rule::kBlockSize,
                isThere ? "the block is smaller than dwBlockLength"
                        : "the agent doesn't serve a large block",
                "dwBlockLength " + Text(one.front().BlockLength()) + ": " + EndOf(one.front()));
  }
  session.Ask(0, channel::kItemClose);
  Pass(result, "blocks of 24, 60 and 1048596 bytes");
}

void CheckIncompleteBlock(Session& session, Result& result) {
  std::deque<Requester> one;
  one.push_back(session.New(0, channel::kItemClose));
  Requester& request = one.front();
  request.Push(session.Ring());
  if (!session.WaitFor(session.Settings().blockWaitMs,
                       [&request] { return request.OpenEmptyBlock(); })) {
    return Unknown(result, "no block in the add-in's time");
  }
  session.WaitFor(kBlockLookMs, [] { return false; });
  const std::int32_t status = request.ExchangeStatus(channel::kStatusFilling);
  request.Fill();
  session.Finish(one);
  if (status != channel::kStatusFilling) {
    return Fail(result, Rule::kIncompleteBlock, "the agent answers before the block is complete",
                "the status word was 0 and became " + std::to_string(status));
  }
  if (!request.IsAnswered()) {
    return Fail(result, Rule::kIncompleteBlock,
                "the agent gives up on a block that isn't complete at once", EndOf(request));
  }
  Pass(result, "untouched for " + Text(kBlockLookMs) + " ms, then " + EndOf(request));
}

}  // namespace inspection::conformance
