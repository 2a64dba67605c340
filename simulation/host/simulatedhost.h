// A mail host in miniature: application, windows and mails that an add-in can be connected to, the
// real events, real reference counts.
//
//   simulation::host::SimulatedHost host("16.0.0.1234");
//   host.OpenExplorer();
//   host.Connect(addIn);
//   simulation::host::HostInspector& window = host.OpenInspector(model);    // fires NewInspector
//   const simulation::host::SendOutcome sent = host.Send(*window.Mail());   // fires Send
//   host.CloseInspector(window);                                  // fires Close
//   host.Disconnect();
//   std::fputs(host.Ledger().Report().c_str(), stderr);           // what the add-in has left
//
// Nothing here needs the real host or a running COM: the objects are plain C++ behind the host's
// vtables, so the same host serves natively and, on Windows, an add-in that came from a class
// factory.
//
// Who holds what: the host holds its application object, which holds its collections, which hold
// the open windows; a window holds its item, an item everything below it. These are the host's own
// references, which the ledger tells from those that were given away. What a function here gives
// as a C++ reference stays valid for as long as the host holds it: a window until it is closed, a
// mail until its window is closed or, for one made by CreateMail, until ReleaseMail.
//
// At the end the host fires nothing, closes its windows and gives back all that it holds. Objects
// that an add-in still holds live on, stay usable, and stay in the ledger: keep it with
// SharedLedger to ask afterwards.
//
// Everything belongs to one thread, the host's main thread. Exceptions that a sink throws pass
// through to the caller.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/outlookaddin/extensibility.h"
#include "simulation/host/hostcalls.h"
#include "simulation/host/hostitem.h"
#include "simulation/host/hostledger.h"
#include "simulation/host/hostwindows.h"
#include "simulation/mail/mailmodel.h"

namespace simulation::host {

// Whether the host tells of a new window, or leaves the add-in to find it.
enum class Announce { kYes, kNo };

class SimulatedHost {
 public:
  // The version text is what the application gives. Members that came with a later version than
  // the number in front of its first dot are traps; a text without such a number counts as the
  // newest version.
  explicit SimulatedHost(std::string version = "16.0.0.1234");
  ~SimulatedHost();
  SimulatedHost(const SimulatedHost&) = delete;
  SimulatedHost& operator=(const SimulatedHost&) = delete;

  HostCalls& Calls() const { return m_core->calls; }
  HostLedger& Ledger() const { return m_core->ledger; }
  std::shared_ptr<HostLedger> SharedLedger() const { return {m_core, &m_core->ledger}; }

  HostApplication& Application() const { return *m_application; }
  HostAddInEntry& AddInEntry() const { return *m_addInEntry; }

  // Connects an add-in as at start-up: takes a reference to it and calls OnConnection,
  // OnAddInsUpdate and OnStartupComplete. Gives what OnConnection returned; on failure the add-in
  // is let go. E_UNEXPECTED while one is connected, E_POINTER for null.
  HRESULT Connect(_IDTExtensibility2* addIn, ext_ConnectMode mode = ext_cm_Startup);
  // Calls OnBeginShutdown (if the host shuts down) and OnDisconnection and gives the reference
  // back. Gives what OnDisconnection returned; E_UNEXPECTED if none is connected.
  HRESULT Disconnect(ext_DisconnectMode mode = ext_dm_HostShutdown);

  // Explorers. Opening one fires nothing that an add-in here listens to.
  HostExplorer& OpenExplorer();
  void CloseExplorer(HostExplorer& explorer);

  // Opens a window on a mail; its caption is the subject followed by " - Message", or `caption`.
  HostInspector& OpenInspector(mail::MailModel model, Announce announce = Announce::kYes);
  HostInspector& OpenInspector(HostMailItem& mail, std::string caption,
                               Announce announce = Announce::kYes);
  // Opens a window on an item that is no mail.
  HostInspector& OpenOtherInspector(std::string caption, Announce announce = Announce::kYes);
  // Fires Close and lets the window go, and with it its item.
  void CloseInspector(HostInspector& inspector);

  // Begins a reply inside an explorer, which holds the item, and fires InlineResponse.
  HostMailItem& BeginInlineResponse(HostExplorer& explorer, mail::MailModel model);
  // The reply is sent or dropped: the explorer lets the item go. Nothing is fired.
  void EndInlineResponse(HostExplorer& explorer);

  // A mail without a window, held until ReleaseMail or the end of the host.
  HostMailItem& CreateMail(mail::MailModel model);
  void ReleaseMail(HostMailItem& mail);

  // The user presses Send. What happens to the window is the caller's: a mail that isn't cancelled
  // would be closed with it.
  SendOutcome Send(HostMailItem& mail, VARIANT_BOOL cancel = VARIANT_FALSE) {
    return mail.FireSend(cancel);
  }

 private:
  HostInspector& AddInspector(HostRef<HostInspector> inspector, Announce announce);

  HostCorePointer m_core;
  HostRef<HostApplication> m_application;
  HostRef<HostAddInEntry> m_addInEntry;
  std::vector<HostRef<HostMailItem>> m_mails;
  _IDTExtensibility2* m_addIn = nullptr;
};

}  // namespace simulation::host
