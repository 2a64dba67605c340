// Starting a program, talking to it through its standard streams, and ending it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tools::system {

// One child. For one thread, which should live as long as the child: on some systems the child ends
// with the thread that started it.
//
// The child gets a pipe as its standard input and one as its standard output; its standard error is
// the parent's. Nothing is ever written to its input: it is there to end, which tells the child to
// end too, also when the parent dies without a word. A child that doesn't look (see
// StandardInputEnded) is ended by the system where it can (a job on Windows, the parent-death
// signal on Linux).
class ChildProcess {
 public:
  ChildProcess();
  // As End with two seconds.
  ~ChildProcess();

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Runs `program` (a path, UTF-8) with `arguments` (UTF-8, without the program's name). False,
  // with the reason in `*error`, if it can't be started.
  bool Start(const std::string& program, const std::vector<std::string>& arguments,
             std::string* error);

  enum class ReadResult { kLine, kTimeOut, kEnd };
  // Gives the next line of the child's standard output without its line end, waiting so long at
  // most. A last line without a line end counts. Whoever starts a child that writes much must go on
  // reading: the child stops when the pipe is full.
  ReadResult ReadLine(std::string* line, std::uint32_t milliseconds);

  // Waits so long at most for the child to end by itself. True if it has; `*status` is then its
  // exit status, or 128 and the signal's number where a signal ended it. May be called again.
  bool WaitForEnd(std::uint32_t milliseconds, int* status);

  // Ends the child: politely (by the end of its input, and where there are signals by SIGTERM), and
  // by force if that doesn't do within the time. Gives its exit status as WaitForEnd does; -1 if
  // none was started.
  int End(std::uint32_t milliseconds);

  // Asks the child to end as a user would (SIGINT); on Windows by the end of its input.
  void Interrupt();

  // Ends the child at once, without giving it a chance to clean up. WaitForEnd tells when it is
  // gone.
  void Kill();

  // The system's number for the child; 0 before Start.
  std::uint32_t ProcessId() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
  std::string m_read;  // what came of the next lines
};

// For the child's side: true once the standard input has ended. What stands in it is dropped.
// Never waits.
bool StandardInputEnded();

}  // namespace tools::system
