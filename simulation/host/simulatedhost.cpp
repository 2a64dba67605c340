#include "simulation/host/simulatedhost.h"

#include <algorithm>
#include <cstdlib>

namespace simulation::host {
namespace {

HostCorePointer MakeCore(std::string version) {
  auto core = std::make_shared<HostCore>();
  core->versionText = std::move(version);
  core->majorVersion = std::atoi(core->versionText.c_str());
  return core;
}

// Keeps objects that outlive their host reachable, so that a leak checker doesn't report them. The
// ledger reports them better.
void KeepReachable(const HostCorePointer& core) {
  static auto& kept = *new std::vector<HostCorePointer>;
  if (!core->ledger.Alive().empty()) kept.push_back(core);
}

}  // namespace

SimulatedHost::SimulatedHost(std::string version)
    : m_core(MakeCore(std::move(version))),
      m_application(HostRef<HostApplication>::Make(m_core)),
      m_addInEntry(HostRef<HostAddInEntry>::Make(m_core)) {}

SimulatedHost::~SimulatedHost() {
  if (m_addIn != nullptr) std::exchange(m_addIn, nullptr)->Release();
  m_application->OpenInspectors().Clear();
  m_application->OpenExplorers().Clear();
  m_mails.clear();
  m_addInEntry = {};
  m_application = {};
  KeepReachable(m_core);
}

HRESULT SimulatedHost::Connect(_IDTExtensibility2* addIn, ext_ConnectMode mode) {
  if (addIn == nullptr) return E_POINTER;
  if (m_addIn != nullptr) return E_UNEXPECTED;
  addIn->AddRef();
  SAFEARRAY* custom = nullptr;
  HRESULT result = S_OK;
  {
    const HostCalls::AddInCall call(Calls());
    result = addIn->OnConnection(m_application.Get(), mode, m_addInEntry.Get(), &custom);
  }
  if (FAILED(result)) {
    addIn->Release();
    return result;
  }
  m_addIn = addIn;
  addIn->OnAddInsUpdate(&custom);
  if (mode == ext_cm_Startup) addIn->OnStartupComplete(&custom);
  return result;
}

HRESULT SimulatedHost::Disconnect(ext_DisconnectMode mode) {
  if (m_addIn == nullptr) return E_UNEXPECTED;
  SAFEARRAY* custom = nullptr;
  if (mode == ext_dm_HostShutdown) m_addIn->OnBeginShutdown(&custom);
  HRESULT result = S_OK;
  {
    const HostCalls::AddInCall call(Calls());
    result = m_addIn->OnDisconnection(mode, &custom);
  }
  std::exchange(m_addIn, nullptr)->Release();
  return result;
}

HostExplorer& SimulatedHost::OpenExplorer() {
  return m_application->OpenExplorers().Add();
}

void SimulatedHost::CloseExplorer(HostExplorer& explorer) {
  m_application->OpenExplorers().Remove(explorer);
}

HostInspector& SimulatedHost::AddInspector(HostRef<HostInspector> inspector, Announce announce) {
  HostInspectors& inspectors = m_application->OpenInspectors();
  inspectors.Add(inspector);
  if (announce == Announce::kYes) inspectors.FireNewInspector(*inspector);
  return *inspector;
}

HostInspector& SimulatedHost::OpenInspector(mail::MailModel model, Announce announce) {
  std::string caption = model.subject.value_or("Untitled") + " - Message";
  auto mail = HostRef<HostMailItem>::Make(m_core, std::move(model));
  return AddInspector(
      HostRef<HostInspector>::Make(m_core, std::move(caption), mail, HostRef<HostOtherItem>()),
      announce);
}

HostInspector& SimulatedHost::OpenInspector(HostMailItem& mail, std::string caption,
                                            Announce announce) {
  return AddInspector(
      HostRef<HostInspector>::Make(m_core, std::move(caption), HostRef<HostMailItem>(&mail),
                                   HostRef<HostOtherItem>()),
      announce);
}

HostInspector& SimulatedHost::OpenOtherInspector(std::string caption, Announce announce) {
  auto item = HostRef<HostOtherItem>::Make(m_core);
  return AddInspector(HostRef<HostInspector>::Make(m_core, std::move(caption),
                                                   HostRef<HostMailItem>(), std::move(item)),
                      announce);
}

void SimulatedHost::CloseInspector(HostInspector& inspector) {
  const HostRef<HostInspector> last(&inspector);
  inspector.FireClose();
  m_application->OpenInspectors().Remove(inspector);
}

HostMailItem& SimulatedHost::BeginInlineResponse(HostExplorer& explorer, mail::MailModel model) {
  auto mail = HostRef<HostMailItem>::Make(m_core, std::move(model));
  explorer.SetInlineResponse(mail);
  explorer.FireInlineResponse();
  return *mail;
}

void SimulatedHost::EndInlineResponse(HostExplorer& explorer) {
  explorer.SetInlineResponse({});
}

HostMailItem& SimulatedHost::CreateMail(mail::MailModel model) {
  m_mails.push_back(HostRef<HostMailItem>::Make(m_core, std::move(model)));
  return *m_mails.back();
}

void SimulatedHost::ReleaseMail(HostMailItem& mail) {
  const auto found =
      std::find_if(m_mails.begin(), m_mails.end(),
                   [&](const HostRef<HostMailItem>& each) { return each.Get() == &mail; });
  if (found != m_mails.end()) m_mails.erase(found);
}

}  // namespace simulation::host
