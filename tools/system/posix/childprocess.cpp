#include "tools/system/childprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

namespace tools::system {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCannotRun = 127;

int MillisecondsUntil(Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

void CloseOnce(int* descriptor) {
  if (*descriptor >= 0) close(*descriptor);
  *descriptor = -1;
}

// Runs between fork and exec, where only calls that are safe in a signal handler are allowed.
[[noreturn]] void RunInChild(pid_t parent, int input, int output, int failure, char* const* words) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(kCannotRun);
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) sigaction(signal, &action, nullptr);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  execv(words[0], words);
  const int code = errno;
  [[maybe_unused]] const ssize_t told = write(failure, &code, sizeof(code));
  _exit(kCannotRun);
}

}  // namespace

struct ChildProcess::State {
  pid_t process = -1;
  int input = -1;   // our end of the child's standard input
  int output = -1;  // our end of its standard output
  bool ended = false;
  int status = -1;
};

ChildProcess::ChildProcess() : m_state(std::make_unique<State>()) {}

ChildProcess::~ChildProcess() {
  End(2000);
  CloseOnce(&m_state->output);
}

bool ChildProcess::Start(const std::string& program, const std::vector<std::string>& arguments,
                         std::string* error) {
  std::array<int, 2> input = {-1, -1};
  std::array<int, 2> output = {-1, -1};
  std::array<int, 2> failure = {-1, -1};
  const auto closeAll = [&] {
    for (auto* pair : {&input, &output, &failure}) {
      for (int& descriptor : *pair) CloseOnce(&descriptor);
    }
  };
  if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0 ||
      pipe2(failure.data(), O_CLOEXEC) != 0) {
    *error = std::strerror(errno);
    closeAll();
    return false;
  }
  std::vector<char*> words = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);

  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) RunInChild(parent, input[0], output[1], failure[1], words.data());
  int code = child < 0 ? errno : 0;
  CloseOnce(&failure[1]);
  // The pipe ends without data when exec succeeds.
  if (child > 0 && read(failure[0], &code, sizeof(code)) == sizeof(code))
    waitpid(child, nullptr, 0);
  if (code != 0) {
    *error = std::strerror(code);
    closeAll();
    return false;
  }
  m_state->process = child;
  m_state->input = std::exchange(input[1], -1);
  m_state->output = std::exchange(output[0], -1);
  closeAll();
  return true;
}

ChildProcess::ReadResult ChildProcess::ReadLine(std::string* line, std::uint32_t milliseconds) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    if (const std::size_t lineEnd = m_read.find('\n'); lineEnd != std::string::npos) {
      *line = m_read.substr(0, lineEnd);
      m_read.erase(0, lineEnd + 1);
      return ReadResult::kLine;
    }
    pollfd wanted = {m_state->output, POLLIN, 0};
    if (m_state->output >= 0 && poll(&wanted, 1, MillisecondsUntil(end)) <= 0) {
      if (MillisecondsUntil(end) == 0) return ReadResult::kTimeOut;
      continue;
    }
    std::array<char, 4096> buffer;
    const ssize_t got =
        m_state->output < 0 ? 0 : read(m_state->output, buffer.data(), buffer.size());
    if (got > 0) {
      m_read.append(buffer.data(), static_cast<std::size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      if (m_read.empty()) return ReadResult::kEnd;
      m_read.push_back('\n');
    }
  }
}

bool ChildProcess::WaitForEnd(std::uint32_t milliseconds, int* status) {
  const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (!m_state->ended && m_state->process > 0) {
    int raw = 0;
    const pid_t result = waitpid(m_state->process, &raw, WNOHANG);
    if (result == m_state->process) {
      m_state->ended = true;
      m_state->status = WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : WEXITSTATUS(raw);
    } else if (Clock::now() >= end) {
      return false;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  *status = m_state->status;
  return m_state->ended;
}

int ChildProcess::End(std::uint32_t milliseconds) {
  int status = -1;
  CloseOnce(&m_state->input);
  if (m_state->process > 0 && !m_state->ended) kill(m_state->process, SIGTERM);
  if (m_state->process > 0 && !WaitForEnd(milliseconds, &status)) {
    Kill();
    while (!WaitForEnd(1000, &status)) {
    }
  }
  return m_state->status;
}

void ChildProcess::Interrupt() {
  if (m_state->process > 0 && !m_state->ended) kill(m_state->process, SIGINT);
}

void ChildProcess::Kill() {
  if (m_state->process > 0 && !m_state->ended) kill(m_state->process, SIGKILL);
}

std::uint32_t ChildProcess::ProcessId() const {
  return m_state->process > 0 ? static_cast<std::uint32_t>(m_state->process) : 0;
}

bool StandardInputEnded() {
  for (;;) {
    pollfd wanted = {STDIN_FILENO, POLLIN, 0};
    if (poll(&wanted, 1, 0) <= 0) return false;
    std::array<char, 256> dropped;
    const ssize_t got = read(STDIN_FILENO, dropped.data(), dropped.size());
    if (got == 0) return true;
    if (got < 0) return errno != EINTR && errno != EAGAIN;
  }
}

}  // namespace tools::system
