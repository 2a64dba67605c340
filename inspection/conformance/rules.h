// The sentences of docs/protocol.md that the checks test. A test finds each of them there, with any
// white space between two words.
#pragma once

#include <cstddef>
#include <string_view>

namespace inspection::conformance {

enum class Rule {
  kRing,
  kCapacity,
  kBlock,
  kNameCase,
  kBlockSize,
  kAnswer,
  kUsableAnswer,
  kUnknownType,
  kRecipients,
  kIncompleteBlock,
  kCheckRecord,
  kFreeBadRecord,
  kHugeBlock,
  kExistingName,
  kGivenUp,
  kTaken,
  kReadsNoAnswer,
  kParallel,
  kClear,
  kPosition,
  kFree,
  kIncompleteEntry,
  kLaterEntries,
  kForeign,
  kSplit,
  kLengthAtEnd,
  kCursorWraps,
  kDamaged,
  kDeadWriter,
  kDeadAddition,
  kUnopened,
  kInTime,
  kForget,
  kMailIds,
  kNewAgent,
};

inline constexpr std::string_view kRules[] = {
    R"(The mapping `Global\VRKEXPIPE`, at least 262,164 bytes.)",
    "Bytes of the data area: 262,144.",
    ("The record names more shared memory, the request's **block**: the agent creates it, the "
     "add-in writes the item into it, and the agent stores its answer in the block's first word."),
    "Use the name as it is in the record; names of mappings are case-sensitive.",
    "`dwBlockLength` bytes, without alignment or padding.",
    "The add-in asks, the agent answers.",
    ("Every other value above 1 ends the wait at once and counts as no answer: the item stays "
     "unchecked, and the mail goes out unless another item's answer decides otherwise."),
    "Answer an item type that you don't know with 4.",
    "4 makes the add-in ask about the content; any other answer skips it, and decides nothing",
    "Until `status` is 1, the block belongs to the add-in.",
    ("Check the record before you create anything under a name that another process has chosen: "
     "kind 4, a length of at least 6, and a name of exactly this form with the record's own ids."),
    ("If a check fails, free the entry like any other and go on with the next; there is no one to "
     "answer."),
    ("The same applies to a length that you don't want to allocate: without a block, the add-in "
     "stops waiting after its time-out, and the mail goes on."),
    "Check `GetLastError` for `ERROR_ALREADY_EXISTS`, close the handle and treat it as a failure.",
    ("Change it from 1 to the answer with a compare and exchange: a plain store could overwrite "
     "the 5 of an add-in that has given up."),
    ("Each poll stores 1 again, so the add-in reads an answer once, and a 1 after your answer "
     "means that it was taken."),
    "It has given up and reads no answer",
    "Several mails may be in progress at once.",
    "**Clear the whole entry, length word first, then the payload.**",
    "Advance the position and **store it** in `consumerWord`, so that another agent can take over.",
    "**Then** subtract the entry's size from `usedBytes`, atomically and with release order.",
    "Zero: the entry isn't complete; try again later.",
    "Meanwhile take later entries: those of the add-in are 152 bytes apart",
    "Free an entry of another length or kind without answering it.",
    "Copy the payload, in two pieces if it is split.",
    ("The end of the area can split the payload, never the length word; if that fills the last 4 "
     "bytes, the payload begins at 0."),
    "Count of all bytes ever appended; wraps from 2^32 to 0.",
    ("If it isn't, the ring is damaged: clear the data area, set the position and `consumerWord` "
     "to `writeCursor` and `usedBytes` to 0."),
    ("After more than 12.5 s load its length word again, and if it is still 0, clear 152 bytes and "
     "free them."),
    ("When the ring has been empty and the word unchanged for more than 12.5 s: load `writeCursor` "
     "again, then compare and exchange the word with 0"),
    "Close it after more than 12.5 s",
    ("To be in time, keep to the left column; to be sure that the add-in has given up, wait longer "
     "than the right one."),
    ("So forget what you know of a mail at its item 9, and also at an item 3, or at any item long "
     "after the last one: a new mail has begun."),
    "The pair (`dwProcessId`, `dwThreadId`) identifies the mail until its item 9.",
    "A new agent tries again, or takes the ring over at the position in `consumerWord`",
};
static_assert(std::size(kRules) == static_cast<std::size_t>(Rule::kNewAgent) + 1);

constexpr std::string_view SentenceOf(Rule rule) {
  return kRules[static_cast<std::size_t>(rule)];
}

}  // namespace inspection::conformance
