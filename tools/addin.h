// The add-in that `quorvex send` sends its mails through. On Windows it is the real DlpAddIn.dll in
// the program's folder; elsewhere it is linked into the program.
//
// addin_dll.cpp and addin_linked.cpp define what differs.
#pragma once

#include <memory>
#include <string>

#include "agent/outlookaddin/extensibility.h"
#include "platform/com/comptr.h"
#include "tools/exchangelog.h"

namespace tools {

class AddIn {
 public:
  // Creates the add-in's object through its class factory. Raises std::runtime_error with the
  // reason if that fails. A DLL that was loaded stays loaded.
  AddIn();

  AddIn(const AddIn&) = delete;
  AddIn& operator=(const AddIn&) = delete;

  // Whether the add-in calls the operating system through this program's platform tables. A DLL has
  // its own.
  static bool UsesOurPlatform();

  // Valid as long as this object.
  _IDTExtensibility2* Object() const { return m_object.Get(); }

  // Records in `*log` what the add-in does from now on, and makes it use the ring `ring`. Call it
  // before OnConnection. The log must outlive this object. At most one add-in at a time.
  void Watch(ExchangeLog* log, const std::string& ring);
  // Makes the add-in log at all levels, for `*log`. Call it after OnConnection, which reads the
  // user's Logger.cfg. What that file says stays in force, except lines for the debugger.
  void StartLog();
  // Closes the listings of signature folders that the add-in leaves open on purpose, one for each
  // mail with a signature image: after thousands of mails a Linux process would have no descriptors
  // left. A DLL's listings stay open; Windows has room for millions.
  void CloseListings();

 private:
  // The signature of DllGetClassObject.
  using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID clsid, REFIID iid,
                                                          void** object);
  static GetClassObjectFunction Load();

  platform::ComPtr<_IDTExtensibility2> m_object;
  std::shared_ptr<void> m_watcher;
};

}  // namespace tools
