// The add-in that `quorvex send` sends its mails through: linked into the program where there is no
// DLL to load, the real DlpAddIn.dll beside the program on Windows.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "agent/outlookaddin/extensibility.h"
#include "channel/protocol.h"

struct _MailItem;

namespace tools {

class AddIn {
 public:
  // Makes the add-in's object through its class factory. Raises std::runtime_error with the reason
  // if that can't be done.
  AddIn();
  ~AddIn();

  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;

  // Valid as long as this object.
  _IDTExtensibility2* Object() const;

  // Has the add-in write its log at all levels into files that begin with `base` (a path without
  // ending, UTF-8) and gives the name of the first of them. Nothing where the add-in can't be told
  // from outside; its own Logger.cfg is the way there. To be called behind OnConnection.
  std::optional<std::string> StartLog(const std::string& base);

  // What the add-in's last check of the item came to; nothing where it can't be asked.
  std::optional<ActionCode> VerdictOf(const _MailItem* mailItem) const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace tools
