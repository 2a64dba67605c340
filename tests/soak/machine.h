// The soak's simulated machine: its own folders, ring and agent, a clock that moves from mail to
// mail, waits that are as short as possible, and a count of everything that the add-in leaves by
// design.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "channel/protocol.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/mapi.h"
#include "platform/mappings.h"
#include "platform/scopedreplacement.h"
#include "tests/soak/oracle.h"
#include "tests/support/temporaryfolder.h"
#include "tools/system/childprocess.h"

namespace soak {

// What the add-in leaves on purpose. The soak removes it after each mail to measure the rest.
struct LeftOnPurpose {
  std::uint64_t listings = 0;           // one find handle for each signature folder visited
  std::uint64_t mapiBuffers = 0;        // the name of each tag
  std::uint64_t messageReferences = 0;  // three for each tagged mail's message
};

class Machine {
 public:
  // `agentProgram` has a command "agent" that runs the agent with the rules file `rules`.
  Machine(std::string agentProgram, std::string rules);
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  void StartAgent();
  // Ends the agent at once, like a crash.
  void KillAgent();
  // Waits for the agent to crash. False if it doesn't within two minutes.
  bool AwaitEnd();
  // Asks the agent to end.
  void StopAgent();

  // A mail begins: its requests will end like this. `tick` sets the clock.
  void BeginRequests(const std::vector<Fate>& fates, std::uint32_t tick);
  // How many requests there have been since.
  std::size_t Requests() const { return m_request; }

  // Removes what the add-in has left.
  void ClearWhatIsLeft();
  LeftOnPurpose& Left() { return m_left; }

  // Files in the temporary folder: none between two mails.
  std::size_t TemporaryFiles() const;

 private:
  using MapiBuffers = std::vector<std::unique_ptr<unsigned char[]>>;

  void OnSleep(void (*original)(std::uint32_t));
  platform::Handle OnOpenMapping(platform::Handle opened, const char* block);
  void ReadAhead();
  void AwaitLook();
  Fate CurrentFate() const;

  tests::TemporaryFolder m_folder;
  std::string m_program;
  std::string m_rules;
  std::string m_ring;
  std::unique_ptr<tools::system::ChildProcess> m_agent;

  std::vector<Fate> m_fates;
  std::size_t m_request = 0;   // since the mail's beginning
  std::string m_block;         // the current request's, once it is open
  bool m_isSeen = false;       // the agent has read the block
  std::uint32_t m_sleeps = 0;  // in the current wait
  std::uint32_t m_tick = 0;
  LeftOnPurpose m_left;
  std::set<platform::Handle> m_listings;
  MapiBuffers m_buffers;

  template <auto& Table, auto Entry>
  using Replace = platform::ScopedReplacement<Table, Entry>;
  Replace<platform::clock, &platform::ClockOperations::Sleep> m_sleep;
  Replace<platform::clock, &platform::ClockOperations::GetTickCount> m_getTick;
  Replace<platform::mappings, &platform::MappingOperations::OpenFileMappingA> m_open;
  Replace<platform::files, &platform::FileOperations::FindFirstFileA> m_findFirst;
  Replace<platform::files, &platform::FileOperations::FindClose> m_findClose;
  Replace<platform::mapi, &platform::MapiOperations::MAPIAllocateBuffer> m_allocate;
  Replace<platform::folders, &platform::FolderOperations::GetTempPathA> m_tempA;
  Replace<platform::folders, &platform::FolderOperations::GetTempPathW> m_tempW;
  Replace<platform::folders, &platform::FolderOperations::GetWindowsDirectoryA> m_windows;
  Replace<platform::folders, &platform::FolderOperations::GetSystemDirectoryA> m_system;
  Replace<platform::folders, &platform::FolderOperations::SHGetFolderPathA> m_appData;
};

}  // namespace soak
