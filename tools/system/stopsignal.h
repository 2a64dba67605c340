// Ending when the user or the system asks for it.
#pragma once

#include <atomic>

namespace tools::system {

// While an object of this class lives, a request to end (Ctrl-C, SIGTERM, a closed terminal or
// console window, an output that has no reader any more) sets a flag instead of ending the process.
// One object at a time, created by the main thread.
class StopSignal {
 public:
  StopSignal();
  // Restores the previous handling; the flag keeps its value.
  ~StopSignal();

  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // True once the process has been asked to end. Starts false with each object.
  const std::atomic<bool>& Flag() const;
  // True if the reason was that nobody reads the output any more. Never on Windows, where writing
  // then fails without a signal.
  bool IsOutputClosed() const;
};

}  // namespace tools::system
