// Checks with records and blocks that the add-in never writes: any process can.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "inspection/conformance/session.h"

namespace inspection::conformance {
namespace {

// After a later request is answered, a block would exist already, unless another thread makes it.
constexpr std::uint32_t kLookMs = 60;

// A record that the agent must refuse, and what is wrong with it.
struct BadRecord {
  Requester request;
  std::string what;
};

void SetName(Requester& request, const std::string& name) {
  char* const field = request.Record().szBlockName;
  std::memset(field, 0, sizeof(request.Record().szBlockName));
  name.copy(field, sizeof(request.Record().szBlockName));
}

// Pushes all of them, and a good request after them.
void CheckRefused(Session& session, Result& result, std::deque<BadRecord>& records,
                  const std::string& cause) {
  for (BadRecord& record : records) record.request.Push(session.Ring());
  const Requester good = session.Ask(0, channel::kItemClose);
  session.WaitFor(kLookMs, [] { return false; });
  for (BadRecord& record : records) {
    // A field without a NUL is cut here, as by an agent that doesn't look.
    const char* const field = record.request.Record().szBlockName;
    const std::string name(field, strnlen(field, sizeof(record.request.Record().szBlockName)));
    if (Exists(name)) {
      return Fail(result, Rule::kCheckRecord, cause,
                  record.what + ": created " + name.substr(0, 60));
    }
  }
  if (!good.IsAnswered()) {
    return Fail(result, Rule::kFreeBadRecord, "the agent stops at a record that it refuses",
                "the request after it: " + EndOf(good));
  }
  Pass(result, Text(static_cast<std::uint32_t>(records.size())) +
                   " bad records, no block; the request after them: " + EndOf(good));
}

}  // namespace

void CheckRecordKind(Session& session, Result& result) {
  std::deque<BadRecord> records;
  for (const std::uint32_t kind : {0U, 3U, 5U, 0x0400'0000U}) {
    records.push_back({session.New(0, channel::kItemClose), "kind " + Text(kind)});
    records.back().request.Record().dwRequestKind = kind;
  }
  CheckRefused(session, result, records, "the agent serves a record of another kind");
}

void CheckRecordLength(Session& session, Result& result) {
  std::deque<BadRecord> records;
  for (const std::uint32_t length : {0U, 1U, 5U}) {
    records.push_back({session.New(0, channel::kItemClose), "dwBlockLength " + Text(length)});
    records.back().request.Record().dwBlockLength = length;
  }
  CheckRefused(session, result, records, "the agent serves a block that is too short for any item");
}

void CheckRecordName(Session& session, Result& result) {
  std::deque<BadRecord> records;
  const auto add = [&](const std::string& what, auto change) {
    records.push_back({session.New(0, channel::kItemClose), what});
    const std::string name = records.back().request.BlockName();
    SetName(records.back().request, change(name));
  };
  add("another form", [](const std::string& name) { return "Global\\Conform" + name.substr(7); });
  add("another process's id", [](std::string name) {
    name[7] = name[7] == 'f' ? 'e' : 'f';
    return name;
  });
  add("upper-case digits", [](std::string name) {
    std::transform(name.begin() + 7, name.end(), name.begin() + 7, [](char c) {
      return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return name;
  });
  add("a letter in the number", [](std::string name) {
    name.back() = 'x';
    return name;
  });
  add("one digit too many", [](const std::string& name) { return name + "0"; });
  add("no NUL", [](std::string name) {
    name.resize(sizeof(ContentRequest::szBlockName), '0');
    return name;
  });
  CheckRefused(session, result, records, "the agent creates a block under any name it is given");
}

void CheckHugeBlock(Session& session, Result& result) {
  Requester huge = session.New(0, channel::kItemClose);
  huge.Record().dwBlockLength = 0xFFFF'FFFF;
  huge.Push(session.Ring());
  const Requester good = session.Ask(0, channel::kItemClose);
  const std::string seen = "the request after a block of 4294967295 bytes: " + EndOf(good);
  if (good.IsAnswered()) return Pass(result, seen);
  Fail(result, Rule::kHugeBlock, "the agent stops at a block that it can't create", seen);
}

void CheckExistingName(Session& session, Result& result) {
  Requester request = session.New(0, channel::kItemClose);
  agentkit::SharedView trap;
  if (!trap.Create(request.BlockName(), request.BlockLength())) {
    return Unknown(result, "the mapping can't be created: this needs the agent's own rights");
  }
  request.OpenBlock();
  request.ExchangeStatus(channel::kStatusWaiting);
  request.Push(session.Ring());
  const Requester good = session.Ask(1, channel::kItemClose);
  session.WaitFor(kLookMs, [] { return false; });
  const std::int32_t status = request.ExchangeStatus(channel::kStatusGivenUp);
  if (status != channel::kStatusWaiting) {
    return Fail(result, Rule::kExistingName, "the agent uses a mapping that it didn't create",
                "a mapping that existed got the answer " + std::to_string(status));
  }
  if (!good.IsAnswered()) {
    return Fail(result, Rule::kExistingName, "the agent stops at a block's name that exists",
                "the request after it: " + EndOf(good));
  }
  Pass(result, "left alone; the request after it: " + EndOf(good));
}

// Without a NUL at its end, and without any.
void CheckMalformedBlock(Session& session, Result& result) {
  for (const std::uint32_t type : {channel::kItemRecipients, channel::kItemFile}) {
    std::deque<Requester> one;
    one.push_back(session.New(0, type, std::string(200, 'x')));
    one.front().Push(session.Ring());
    if (!session.OpenBlock(one.front())) return Unknown(result, "no block in the add-in's time");
    one.front().Spoil('A');
    session.WaitFor(session.Settings().answerWaitMs, [&one] {
      return one.front().ExchangeStatus(channel::kStatusWaiting) > channel::kStatusWaiting;
    });
    one.front().CloseBlock();
    const Requester good = session.Ask(0, channel::kItemClose);
    if (good.IsAnswered()) continue;
    return Fail(result, Rule::kAnswer, "the agent stops at a block without NULs",
                "type " + Text(type) + "; the request after it: " + EndOf(good));
  }
  Pass(result, "blocks without any NUL, and the requests after them were answered");
}

}  // namespace inspection::conformance
