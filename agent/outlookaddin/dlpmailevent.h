// The sink on one mail item: when the user sends the mail, it asks the agent about it.
//
// The host fires Send. OnMailSend takes the mail through all stages of a check, or takes over a
// verdict of the last few seconds, and answers through the event's Cancel flag. All of it runs on
// the host's thread inside that one call. It fails open: whatever goes wrong, the mail goes out and
// only the log shows it.
//
// The stages, each of which hands one kind of content to the agent:
//
//   envelope   CheckRecipients, CheckSender          dlpmailevent_envelope.cpp
//   text       CheckSubject, CheckBody               dlpmailevent_text.cpp
//   signature  CheckSignature                        dlpmailevent_signature.cpp
//   files      CheckAttachments                      dlpmailevent_attachments.cpp
//   tag        TagSensitiveMail                      dlpmailevent_tagging.cpp
//
// A stage returns the agent's answer. If it can't read its data, it logs that and returns
// channel::kActionNothingUsable (1), which is also its result when there is nothing to ask.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "agent/outlookaddin/dlpmailevent_envelope.h"
#include "agent/outlookaddin/outlookmodel.h"
#include "channel/protocol.h"
#include "platform/com/dispevent.h"
#include "platform/widetext.h"

// Numbers the temporary copies of attachments: 1 to 100, then 1 again. It isn't reset between
// mails. Used on the host's thread only.
extern std::int32_t g_attachmentSequence;

class DlpMailEvent final
    : public IDispEventSimpleImpl<4, DlpMailEvent, &outlookaddin::IID_ItemEvents> {
 public:
  // The event table: OnMailSend.
  static const platform::EventRow* Events();

  // Makes a sink for `item` and subscribes it. Takes over one reference to the item that the caller
  // got from the host and must not release. Returns null if the subscription failed; the sink then
  // stays allocated, unconnected and without an owner. Throws std::bad_alloc.
  static DlpMailEvent* Attach(_MailItem* item);

  // Calls nothing on `item` and takes over one reference to it, which the destructor releases. A
  // sink on null holds nothing, and its OnMailSend must not be called.
  explicit DlpMailEvent(_MailItem* item);

  // Unsubscribes the sink and releases the item. Not virtual: the host knows the object by its
  // slots.
  ~DlpMailEvent();

  // For the owner of a sink that Attach made: ends and deletes it. Host calls may pump messages, so
  // a window can close during the check of its own mail: a sink whose OnMailSend is running ends
  // when that returns, and its memory is never freed, since the host still has to release it.
  void Destroy();

  DlpMailEvent(const DlpMailEvent&) = delete;
  DlpMailEvent& operator=(const DlpMailEvent&) = delete;

  // No event leads here. Does nothing and returns 0.
  virtual HRESULT STDMETHODCALLTYPE OnMailOther();

  // The host's Send event. Stores 1 through `Cancel` to keep the mail open and otherwise leaves it
  // unchanged. Returns 0. Throws _com_error if an address entry doesn't tell its identity, and
  // std::bad_alloc; the cursor is then restored and the temporary files are deleted.
  virtual HRESULT STDMETHODCALLTYPE OnMailSend(VARIANT_BOOL* Cancel);

  // Erases every verdict that is too old, of any mail, then looks for one of `item`. Returns true
  // and stores it in `*result` if there is one. For a null item it returns false and erases
  // nothing.
  bool IsMailChecked(_MailItem* item, LONG* result);
  // Remembers `result` for `item`, starting now. Returns 1.
  int MarkMailChecked(_MailItem* item, LONG result);

  // Runs all stages in their order. `item` is the sink's own.
  ActionCode CheckEmail(_MailItem* item);

  // Sends all addresses to the agent in one request. Opens personal lists that have no address.
  ActionCode CheckRecipients(_MailItem* item);
  // Sends the sender's name to the agent.
  ActionCode CheckSender(_MailItem* item);
  ActionCode CheckSubject(_MailItem* item);
  // Sends the plain body. Then, whatever the answer, looks for a signature image in the HTML body:
  // FindSignatureFilePath may leave a path for CheckSignature.
  ActionCode CheckBody(_MailItem* item);
  // Sends the path that CheckBody left and forgets it. Without a path it does nothing.
  ActionCode CheckSignature();
  // Sends one attachment after the other until an answer is decisive. CleanTempFiles deletes the
  // copies.
  ActionCode CheckAttachments(_MailItem* item);

  // Deletes the files that the stages left in the temporary directory, in this check or earlier.
  // Allocates no memory.
  void CleanTempFiles();

  // Writes the header that marks the mail as sensitive. Returns false if it couldn't.
  bool TagSensitiveMail();

  // Adds the entry's address to `addresses`, or the addresses of a personal list's members, to any
  // depth. The caller has added `entry` to `seen`.
  static void CollectAddressEntry(AddressEntry* entry, AddressEntrySet& seen,
                                  AddressList& addresses);

  // The text between the first `src="cid:` of an HTML text in UTF-8 and the next "@". Empty if
  // either is missing.
  static std::string GetSignatureImageName(std::string_view html);
  // Looks for a file of exactly that name in each folder below the user's signature folder, one
  // level deep. Returns true and keeps its path for CheckSignature if there is one; otherwise an
  // earlier path remains. Leaves one find handle open for each folder that it searched.
  bool FindSignatureFilePath(const std::string& imageName);

  // Writes the path of the next temporary copy to `buffer`, which holds `capacity` wide characters
  // and is zeroed, and returns its length. Returns 0 for a null buffer, without using up a number.
  static std::uint32_t GetAttachmentTempPath(platform::WideChar* buffer, std::uint32_t capacity);

 private:
  // Counts a running OnMailSend, and ends the sink after it if Destroy was called meanwhile.
  class Running;

  // Unsubscribes the sink, releases the item and logs that. Does so once.
  void End();

  // CheckEmail, without the clean-up after an exception.
  ActionCode RunStages(_MailItem* item);
  // The setting of the agent that lengthens every wait for an answer.
  bool ReadChallengeSetting() const;
  // The stages after the envelope, until one is decisive.
  ActionCode CheckContentStages(_MailItem* item);

  _MailItem* m_pMailItem;
  std::string m_strProfilePath;    // ANSI
  std::string m_strSignaturePath;  // ANSI; empty if no image is waiting for CheckSignature
  int m_running = 0;               // calls of OnMailSend
  bool m_isDestroyed = false;      // Destroy was called
  bool m_isEnded = false;          // End was called
};
