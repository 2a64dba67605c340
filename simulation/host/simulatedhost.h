// A miniature mail host to connect an add-in to: application, windows and mails, with real events
// and real reference counts.
//
//   simulation::host::SimulatedHost host("16.0.0.1234");
//   host.OpenExplorer();
//   host.Connect(addIn);
//   simulation::host::HostInspector& window = host.OpenInspector(model);    // fires NewInspector
//   const simulation::host::SendOutcome sent = host.Send(*window.Mail());   // fires Send
//   host.CloseInspector(window);                                  // fires Close
//   host.Disconnect();
//   std::fputs(host.Ledger().Report().c_str(), stderr);           // what the add-in still holds
//
// It needs neither Outlook nor a running COM: the objects are plain C++ with the host's vtables.
// The same code runs natively and, on Windows, with an add-in that a class factory created.
//
// Ownership: the host holds its application object, which holds its collections, which hold the
// open windows. A window holds its item, and an item holds everything below it. The ledger counts
// these references apart from the add-in's. A C++ reference that a function here returns is valid
// for as long as the host holds the object: a window until it is closed, a mail until its window is
// closed or, after CreateMail, until ReleaseMail.
//
// The destructor closes the windows without firing events and releases everything the host holds.
// Objects that the add-in still holds stay usable and stay in the ledger; use SharedLedger to look
// at it afterwards.
//
// For use on one thread, the host's main thread. A sink's exceptions pass through to the caller.
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

// Whether the host fires NewInspector for a new window, or leaves it to the add-in to find it.
enum class Announce { kYes, kNo };

class SimulatedHost {
 public:
  // `version` is the text that the application returns. The number before its first dot decides
  // which members exist: calling one that came with a later version ends the process. A text
  // without such a number means the newest version.
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
  // OnAddInsUpdate and OnStartupComplete. Returns OnConnection's result, and releases the add-in if
  // that is a failure. E_UNEXPECTED if an add-in is connected already, E_POINTER for null.
  HRESULT Connect(_IDTExtensibility2* addIn, ext_ConnectMode mode = ext_cm_Startup);
  // Calls OnBeginShutdown (if the host shuts down) and OnDisconnection, and releases the add-in.
  // Returns OnDisconnection's result; E_UNEXPECTED if no add-in is connected.
  HRESULT Disconnect(ext_DisconnectMode mode = ext_dm_HostShutdown);

  // Explorers. Opening one fires no event that this add-in subscribes to.
  HostExplorer& OpenExplorer();
  void CloseExplorer(HostExplorer& explorer);

  // Opens a window on a mail; its caption is the subject followed by " - Message", or `caption`.
  HostInspector& OpenInspector(mail::MailModel model, Announce announce = Announce::kYes);
  HostInspector& OpenInspector(HostMailItem& mail, std::string caption,
                               Announce announce = Announce::kYes);
  // Opens a window on an item that isn't a mail.
  HostInspector& OpenOtherInspector(std::string caption, Announce announce = Announce::kYes);
  // Fires Close and releases the window and its item.
  void CloseInspector(HostInspector& inspector);

  // Starts a reply inside an explorer, which holds the item, and fires InlineResponse.
  HostMailItem& BeginInlineResponse(HostExplorer& explorer, mail::MailModel model);
  // The reply was sent or discarded: the explorer releases the item. Fires nothing.
  void EndInlineResponse(HostExplorer& explorer);

  // Creates a mail without a window. The host holds it until ReleaseMail or its own end.
  HostMailItem& CreateMail(mail::MailModel model);
  void ReleaseMail(HostMailItem& mail);

  // The user presses Send. Leaves the window open; a real host would close it unless the add-in
  // cancels.
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
