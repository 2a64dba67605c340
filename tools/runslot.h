// Keeps `quorvex send` runs on one machine out of each other's way.
#pragma once

#include <cstdint>
#include <string>

#include "platform/folders.h"
#include "platform/scopedhandle.h"
#include "platform/scopedreplacement.h"

namespace tools {

// The first run at a time uses the usual names. Each further one gets a ring and a temporary folder
// of its own, which this object creates and removes.
class RunSlot {
 public:
  RunSlot();
  ~RunSlot();

  RunSlot(const RunSlot&) = delete;
  RunSlot& operator=(const RunSlot&) = delete;

  // 0 for the first run.
  int Number() const { return m_number; }
  // The ring for an agent of this run's own. An agent that is already running has the usual one.
  std::string RingName() const;

 private:
  std::string Folder() const;

  platform::ScopedHandle m_claim;
  int m_number = 0;
  std::string m_suffix;  // what GetTempPath adds to the usual folder; empty for the first run
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathA>
      m_narrowPath;
  platform::ScopedReplacement<platform::folders, &platform::FolderOperations::GetTempPathW>
      m_widePath;
};

}  // namespace tools
