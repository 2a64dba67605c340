// The gate: a sink on one mail item that asks the agent about the mail when it is sent.
//
// The host fires Send; OnMailSend takes the mail through all the stages of a check, or takes over
// a verdict of a moment ago, and answers through the event's Cancel flag. Everything runs on the
// host's thread inside that one call. The gate fails open: whatever goes wrong, the mail goes out
// and only the log shows it.
//
// The stages take the mail apart and hand the pieces to the agent one after the other:
//
//   envelope   CheckRecipients, CheckSender          dlpmailevent_envelope.cpp
//   text       CheckSubject, CheckBody               dlpmailevent_text.cpp
//   signature  CheckSignature                        dlpmailevent_signature.cpp
//   files      CheckAttachments                      dlpmailevent_attachments.cpp
//   tag        TagSensitiveMail                      dlpmailevent_tagging.cpp
//
// Each gives what the agent answered, or channel::kActionNothingUsable (1) when it had nothing to
// ask or could not read its data, which it has logged by then.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "agent/outlookaddin/dlpmailevent_envelope.h"
#include "agent/outlookaddin/outlookmodel.h"
#include "channel/protocol.h"
#include "platform/com/dispevent.h"
#include "platform/widetext.h"

// Numbers the temporary copies of attachments: 1 to 100, then 1 again. Runs on from mail to mail
// for the life of the process. Belongs to the host's thread.
extern std::int32_t g_attachmentSequence;

class DlpMailEvent final : public IDispEventSimpleImpl<4, DlpMailEvent, &outlook::IID_ItemEvents> {
 public:
  // The item's Send and nothing else; every other event ends in Invoke.
  static const platform::EventRow* Events();

  // Watches `item` and calls nothing on it. Takes over one reference that the creator got from
  // the host and doesn't release; the destructor gives it back. Null is allowed: such a sink owns
  // nothing.
  explicit DlpMailEvent(_MailItem* item);

  // Leaves the item's events and gives the reference back. Not virtual: the host knows the object
  // by its slots, and only who made it ends it.
  ~DlpMailEvent();

  DlpMailEvent(const DlpMailEvent&) = delete;
  DlpMailEvent& operator=(const DlpMailEvent&) = delete;

  // An event that nothing leads to. Returns 0.
  virtual HRESULT STDMETHODCALLTYPE OnMailOther();

  // The host's Send event. Stores 1 through `Cancel` to keep the mail open, and otherwise leaves
  // it as it is. Always 0. Only a failed identity query of an address entry comes out, as a
  // _com_error.
  virtual HRESULT STDMETHODCALLTYPE OnMailSend(VARIANT_BOOL* Cancel);

  // Forgets every verdict that has grown too old, then tells whether one of `item` is left and
  // gives it. For a null item nothing is looked at. `*result` is untouched when the answer is no.
  bool IsMailChecked(_MailItem* item, LONG* result);
  // Remembers `result` for `item` from now on. Always 1.
  int MarkMailChecked(_MailItem* item, LONG result);

  // All stages in their order; OnMailSend's only source of new verdicts. `item` is the sink's own.
  ActionCode CheckEmail(_MailItem* item);

  // Hands all addresses to the agent in one request. Lists without an address are opened.
  ActionCode CheckRecipients(_MailItem* item);
  // Tells the agent who is sending.
  ActionCode CheckSender(_MailItem* item);
  ActionCode CheckSubject(_MailItem* item);
  // Hands over the plain body, whatever it answers, and looks for a signature image in the HTML
  // form: FindSignatureFilePath may leave a path for CheckSignature.
  ActionCode CheckBody(_MailItem* item);
  // Spends the path that CheckBody left; without one there is nothing to ask and nothing logged.
  ActionCode CheckSignature();
  // Every attachment in turn, up to a decisive answer. Saved copies stay for CleanTempFiles.
  ActionCode CheckAttachments(_MailItem* item);

  // Deletes what the stages left in the temporary directory, earlier leavings included.
  void CleanTempFiles();

  // Writes the header that marks the mail as sensitive. False if it could not.
  bool TagSensitiveMail();

  // Adds what `entry` stands for to `addresses`: its address, or the members of a personal list,
  // to any depth. `entry` is in `seen` already, and so is each member before its own turn.
  static void CollectAddressEntry(AddressEntry* entry, AddressEntrySet& seen,
                                  AddressList& addresses);

  // What stands between the first `src="cid:` of an HTML text in UTF-8 and the "@" behind it;
  // empty if there is no such thing.
  static std::string GetSignatureImageName(std::string_view html);
  // Looks for a file of exactly that name one folder below the user's signature folder and keeps
  // its path for CheckSignature. False, with an earlier path left standing, if there is none.
  // Leaves one find handle open for each folder that it looks into.
  bool FindSignatureFilePath(const std::string& imageName);

  // Makes the path of the next temporary copy in `buffer`, of `capacity` wide characters and
  // cleared by the caller, and gives its length. 0 for a null buffer, with no number used up.
  static std::uint32_t GetAttachmentTempPath(platform::WideChar* buffer, std::uint32_t capacity);

 private:
  // The setting of the agent that makes every wait for an answer long.
  bool ReadChallengeSetting() const;
  // The stages behind the envelope, up to a decisive value.
  ActionCode CheckContentStages(_MailItem* item);

  _MailItem* m_pMailItem;
  std::string m_strProfilePath;    // ANSI
  std::string m_strSignaturePath;  // ANSI; empty when no image waits for CheckSignature
};
