// How long the add-in delays the host outside of a Send: at its start, when a window opens, and
// once a second. The simulated host answers at once; its share is measured separately.
#include <cstdlib>
#include <memory>
#include <string>

#include "agent/outlookaddin/dlpaddinconnect.h"
#include "agent/outlookaddin/hostcalls.h"
#include "bench/median.h"
#include "platform/com/bstr.h"
#include "platform/scopedreplacement.h"
#include "simulation/host/simulatedhost.h"

namespace {

using platform::ComPtr;
using simulation::host::Announce;
using simulation::host::HostInspector;
using simulation::host::SimulatedHost;

// A host and the add-in. The host keeps no journal, which would grow.
class Bench {
 public:
  Bench() : m_host(std::make_unique<SimulatedHost>("16.0.0.1234")) {
    m_host->Calls().KeepJournal(false);
    m_addIn = new CComObject<CDlpAddinConnect>;
    m_addIn->AddRef();
  }
  ~Bench() { m_addIn->Release(); }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  SimulatedHost& Host() const { return *m_host; }
  HRESULT Connect() const {
    SAFEARRAY* custom = nullptr;
    return m_addIn->OnConnection(&m_host->Application(), ext_cm_Startup, &m_host->AddInEntry(),
                                 &custom);
  }
  void Disconnect() const {
    SAFEARRAY* custom = nullptr;
    m_addIn->OnDisconnection(ext_dm_UserClosed, &custom);
  }
  HostInspector& Open(int number, Announce announce) const {
    simulation::mail::MailModel model;
    model.subject = "A mail of usual length about this and that, number " + std::to_string(number);
    return m_host->OpenInspector(std::move(model), announce);
  }

 private:
  std::unique_ptr<SimulatedHost> m_host;
  CComObject<CDlpAddinConnect>* m_addIn;
};

void OnConnection(const bench::Table& table) {
  bench::Samples samples;
  bench::Samples disconnections;
  for (int round = 0; round < 200; ++round) {
    const Bench bench;
    for (int number = 0; number < 10; ++number) bench.Host().OpenExplorer();
    for (int number = 0; number < 20; ++number) bench.Open(number, Announce::kNo);
    samples.Time([&] { bench.Connect(); });
    for (const auto& window : bench.Host().Application().OpenInspectors().Open()) {
      if (window->Mail()->Connected() != 1) std::abort();
    }
    disconnections.Time([&] { bench.Disconnect(); });
  }
  table.Row("OnConnection, 10 explorers and 20 inspectors", samples);
  table.Row("OnDisconnection", disconnections);
}

void NewInspector(const bench::Table& table) {
  const Bench bench;
  bench.Connect();
  bench::Samples samples;
  for (int round = 0; round < 2000; ++round) {
    HostInspector& window = bench.Open(round, Announce::kNo);
    samples.Time([&] { bench.Host().Application().OpenInspectors().FireNewInspector(window); });
    if (window.Mail()->Connected() != 1) std::abort();
    bench.Host().CloseInspector(window);
    outlookaddin::OnScanTimer(nullptr, 0, 0, 0);
  }
  table.Row("NewInspector", samples);
}

// Makes the host calls of a scan that finds nothing new.
void AskLikeAScan(_Application* application) {
  ComPtr<_Inspectors> inspectors;
  LONG count = 0;
  application->get_Inspectors(inspectors.Put());
  inspectors->get_Count(&count);
  for (LONG position = count; position >= 1; --position) {
    ComPtr<_Inspector> inspector;
    platform::Bstr caption;
    inspectors->Item(outlookaddin::PositionVariant(position), inspector.Put());
    inspector->get_Caption(caption.Put());
  }
}

void Tick(const bench::Table& table) {
  const Bench bench;
  bench.Connect();
  for (int number = 0; number < 100; ++number) bench.Open(number, Announce::kYes);
  bench::Samples tick;
  bench::Samples floor;
  for (int round = 0; round < 2000; ++round) {
    floor.Time([&] { AskLikeAScan(&bench.Host().Application()); });
    tick.Time([] { outlookaddin::OnScanTimer(nullptr, 0, 0, 0); });
  }
  table.Row("A tick, 100 windows, nothing new", tick);
  table.Row("A tick, the host's answers alone", floor);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Table table(argc, argv);
  // The benchmark calls the timer's callback itself.
  const platform::ScopedReplacement<platform::ui, &platform::UserInterfaceOperations::SetTimer>
      noTimer([](auto, platform::Window, std::uintptr_t, std::uint32_t,
                 platform::TimerProcedure) -> std::uintptr_t { return 1; });
  OnConnection(table);
  NewInspector(table);
  Tick(table);
  return 0;
}
