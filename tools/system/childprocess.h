// Starting a program, talking to it through its standard streams, and ending it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tools::system {

// One child. For one thread, which should live as long as the child: on Linux the child ends with
// the thread that started it.
//
// The child's standard input and output are pipes; its standard error is the parent's. Nothing is
// ever written to its input. The input ends when the parent closes it or dies, which asks the child
// to end (see StandardInputEnded). The system also ends a child whose parent has died: a job on
// Windows, the parent-death signal on Linux.
class ChildProcess {
 public:
  ChildProcess();
  // Calls End with two seconds.
  ~ChildProcess();

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Runs `program` (a path, UTF-8) with `arguments` (UTF-8, without the program's name). False,
  // with the reason in `*error`, if it can't be started.
  bool Start(const std::string& program, const std::vector<std::string>& arguments,
             std::string* error);

  enum class ReadResult { kLine, kTimeOut, kEnd };
  // Reads the next line of the child's standard output, without its line end, and waits at most
  // that long for it. A last line without a line end counts. Keep reading from a child that writes
  // a lot: it blocks when the pipe is full.
  ReadResult ReadLine(std::string* line, std::uint32_t milliseconds);

  // Waits at most that long for the child to end by itself. True if it has; `*status` is then its
  // exit status, or 128 plus the number of the signal that ended it. May be called again.
  bool WaitForEnd(std::uint32_t milliseconds, int* status);

  // Asks the child to end (closes its input; on POSIX also SIGTERM) and kills it if it doesn't
  // within the time. Returns the same status as WaitForEnd; -1 if no child was started.
  int End(std::uint32_t milliseconds);

  // Asks the child to end as a user would (SIGINT); on Windows by the end of its input.
  void Interrupt();

  // Kills the child, which gets no chance to clean up. Use WaitForEnd to wait until it is gone.
  void Kill();

  // The system's number for the child; 0 before Start.
  std::uint32_t ProcessId() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
  std::string m_read;  // output that ReadLine hasn't returned yet
};

// For the child: true once standard input has ended. Discards pending input. Never waits.
bool StandardInputEnded();

}  // namespace tools::system
