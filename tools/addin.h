// The add-in that `quorvex send` sends its mails through. On Windows it is the real DlpAddIn.dll in
// the program's folder; elsewhere it is linked into the program.
//
// addin_dll.cpp and addin_linked.cpp define what differs.
#pragma once

#include <optional>
#include <string>

#include "agent/outlookaddin/extensibility.h"
#include "channel/protocol.h"
#include "platform/com/comptr.h"

struct _MailItem;

namespace tools {

class AddIn {
 public:
  // Creates the add-in's object through its class factory. Raises std::runtime_error with the
  // reason if that fails. A DLL that was loaded stays loaded.
  AddIn();

  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;

  // Valid as long as this object.
  _IDTExtensibility2* Object() const { return m_object.Get(); }

  // Makes the add-in write its log at all levels into files whose names begin with `base` (a path
  // without extension, UTF-8), and returns the name of the first file. Nothing for the DLL, which
  // takes its log settings from its own Logger.cfg. Call it after OnConnection, which reads that
  // file.
  std::optional<std::string> StartLog(const std::string& base);

  // The verdict of the add-in's last check of the item. Nothing if there was none, and for the DLL,
  // which keeps its verdicts to itself.
  std::optional<ActionCode> VerdictOf(const _MailItem* mailItem) const;

 private:
  // The signature of DllGetClassObject.
  using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID clsid, REFIID iid,
                                                          void** object);
  static GetClassObjectFunction Load();

  platform::ComPtr<_IDTExtensibility2> m_object;
};

}  // namespace tools
