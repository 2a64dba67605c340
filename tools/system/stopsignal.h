// Ending when the user, or the system, asks for it.
#pragma once

#include <atomic>

namespace tools::system {

// While an object of this class lives, the wishes to end (Ctrl-C, a polite kill, a closed terminal
// or console window, an output that nobody reads any more) set a flag instead of ending the
// process. One object at a time, made by the main thread.
class StopSignal {
 public:
  StopSignal();
  // What stood before is in force again; the flag stays as it is.
  ~StopSignal();

  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // True once somebody wished the end. Starts false with each object.
  const std::atomic<bool>& Flag() const;
};

}  // namespace tools::system
