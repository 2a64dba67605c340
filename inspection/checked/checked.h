// The words in which every tool says whether a mail was checked, and why not.
//
// The add-in fails open, so a mail can be sent without the agent having seen all of it. `quorvex
// send` and `quorvex log explain` report that in these words, in text and in JSON; the table in
// docs/troubleshooting.md has a remedy for each reason, and a test compares the two lists.
#pragma once

#include <cstddef>
#include <string_view>

namespace inspection::checked {

enum class Checked {
  kYes,      // the agent answered about everything in the mail, or decided early
  kPart,     // the agent answered about some of it
  kNo,       // the agent wasn't asked about the content, or didn't answer
  kUnknown,  // nothing at hand can tell
};

// "yes", "part", "no", "unknown": the values of "checked" in JSON.
constexpr std::string_view NameOf(Checked checked) {
  constexpr std::string_view kNames[] = {"yes", "part", "no", "unknown"};
  return kNames[static_cast<std::size_t>(checked)];
}

// The same for a person: "checked", "checked in part", ...
constexpr std::string_view PhraseOf(Checked checked) {
  constexpr std::string_view kPhrases[] = {"checked", "checked in part", "unchecked",
                                           "unknown whether checked"};
  return kPhrases[static_cast<std::size_t>(checked)];
}

// Why a mail wasn't checked completely, or why that is unknown.
enum class Reason {
  kNoAgent,           // there was no ring
  kRingRefused,       // the request didn't get into the ring
  kNotTaken,          // the agent never created the request's block
  kNoAnswer,          // the agent created the block but didn't answer in time
  kUnusableAnswer,    // an answer that counts as none
  kContentClosed,     // only "go on" for the recipients opens the content
  kNoAddress,         // so there was nothing to ask about the recipients
  kRecipientNotRead,  // Outlook returned an error, here and in the next six
  kListNotOpened,
  kRecipientLeftOut,
  kSenderNotRead,
  kSubjectNotRead,
  kBodyNotRead,
  kAttachmentNotRead,
  kAttachmentSkipped,  // OLE objects
  kFileNotWritten,     // the copy that the agent would have read
  kFileNotFound,       // the request names a file that doesn't exist
  kTagNotWritten,
  kVerdictReused,  // the mail was sent twice within the life of a verdict
  kException,
  kNotWatched,  // the add-in didn't react to Send
  kLogEnds,
  kNoInfoLines,
  kForged,
};

inline constexpr std::size_t kReasons = static_cast<std::size_t>(Reason::kForged) + 1;

// The reason in words: the values of "reasons" in JSON. They never change.
constexpr std::string_view TextOf(Reason reason) {
  constexpr std::string_view kTexts[kReasons] = {
      "no agent was running",
      "the ring was full or damaged",
      "the agent didn't take the request",
      "the agent didn't answer in time",
      "the agent's answer wasn't 3, 4 or 7",
      "the recipients were answered with block or tag, which leaves the content unchecked",
      "no recipient had an address",
      "a recipient couldn't be read",
      "a distribution list couldn't be opened",
      "a recipient without an address was left out",
      "the sender couldn't be read",
      "the subject couldn't be read",
      "the body couldn't be read",
      "an attachment couldn't be read",
      "an attachment was of a kind that is never checked",
      "a temporary file couldn't be written",
      "the file to check can't be found",
      "the tag couldn't be written",
      "the verdict of a check in the last 5 s was reused",
      "the add-in stopped with an exception",
      "the add-in didn't react to Send",
      "the log doesn't say how the check ended",
      "the log has no Info lines",
      "the mail's text may contain forged log lines",
  };
  return kTexts[static_cast<std::size_t>(reason)];
}

}  // namespace inspection::checked
