// An agent's process is killed at each step of each request of a mail. The answers that it gave
// still count, no wait is longer than for a silent agent, and the next mail works with the next
// agent.
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "agentkit/agentkit.h"
#include "tests/agent/outlookaddin/gatefixture.h"
#include "tests/support/cancel.h"

namespace tests {
namespace {

// When the agent dies.
enum class Step {
  kBeforeTaking,    // the request is in the ring
  kBeforeBlock,     // the agent has taken the request
  kBeforeFilling,   // the block exists, the add-in hasn't opened it
  kBeforeAnswer,    // the add-in has filled the block
  kAfterAnswer,     // the answer is in the block, the add-in hasn't read it
  kBetweenRequests  // the add-in has read the answer
};

constexpr int kNever = 1000;
// Recipients, sender, envelope, subject, body, attachment, close.
constexpr int kRequests = 7;
constexpr int kEnvelopeRequests = 3;

// What the agent's process reports, one byte each.
constexpr char kBlockIsThere = 'b';
constexpr char kAnswerIsThere = 'a';
constexpr char kAtTheStep = 'k';

// An agent in a forked process, which stops at a given step.
class MortalAgent {
 public:
  // Answers `answer` to its request number `request` and 4 to all others.
  MortalAgent(int request, Step step, int answer) {
    EXPECT_EQ(pipe(m_pipe.data()), 0);
    m_process = fork();
    if (m_process == 0) {
      Serve(request, step, answer);
      _exit(1);
    }
    EXPECT_EQ(Next(), 'r') << "the ring exists";
  }
  ~MortalAgent() {
    Kill();
    close(m_pipe[0]);
    close(m_pipe[1]);
  }
  MortalAgent(const MortalAgent&) = delete;
  MortalAgent& operator=(const MortalAgent&) = delete;

  bool Lives() const { return m_process > 0; }

  // The next report. The time limit only stops a test that hangs.
  char Next() {
    pollfd wanted = {m_pipe[0], POLLIN, 0};
    char report = '?';
    if (poll(&wanted, 1, 60'000) != 1 || read(m_pipe[0], &report, 1) != 1) {
      ADD_FAILURE() << "the agent's process hangs";
    }
    return report;
  }

  void Kill() {
    if (!Lives()) return;
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    m_process = 0;
  }

 private:
  void Report(char what) { [[maybe_unused]] const ssize_t size = write(m_pipe[1], &what, 1); }
  void Stop() {
    Report(kAtTheStep);
    for (;;) pause();
  }

  void Serve(int wanted, Step step, int answer) {
    agentkit::RingConsumer ring;
    if (ring.Create({}) != agentkit::OpenResult::kOpened) return;
    Report('r');
    for (int request = 0;; ++request) {
      const auto reach = [&](Step here) {
        if (request == wanted && step == here) Stop();
      };
      while (ring.Header()->writeCursor == ring.Position()) usleep(50);
      reach(Step::kBeforeTaking);
      std::vector<unsigned char> payload;
      while (ring.Take(&payload) != agentkit::TakeResult::kTaken) usleep(50);
      reach(Step::kBeforeBlock);
      ContentRequest record{};
      std::memcpy(&record, payload.data(), sizeof(record));
      agentkit::Block block;
      if (!block.Create(record)) return;
      reach(Step::kBeforeFilling);
      Report(kBlockIsThere);
      while (block.Look() != agentkit::Block::State::kWaiting) usleep(50);
      reach(Step::kBeforeAnswer);
      block.Answer(request == wanted ? answer : 4);
      reach(Step::kAfterAnswer);
      Report(kAnswerIsThere);
      while (block.Look() != agentkit::Block::State::kTaken) usleep(50);
      reach(Step::kBetweenRequests);
    }
  }

  std::array<int, 2> m_pipe{};
  pid_t m_process = 0;
};

class AgentDeath : public GateTest {
 protected:
  AgentDeath() {
    const auto person = std::make_shared<simulation::mail::MailAddressEntry>();
    person->address = "a@x";
    mail.recipients = {{"A", person}};
    mail.senderName = "Sender";
    mail.subject = "subject";
    mail.body = "body";
    mail.attachments = {{1, "a.txt", std::nullopt, "content"}};
    StopAgent();
    m_sleep.emplace([this](auto, std::uint32_t milliseconds) { OnSleep(milliseconds); });
    m_open.emplace([this](auto original, std::uint32_t access, bool inherit, const char* name) {
      if (std::string_view(name).find("VRKEXPIPE") != std::string_view::npos) OnRequest();
      return original(access, inherit, name);
    });
  }

  struct Outcome {
    VARIANT_BOOL cancel;
    int requests;  // that the add-in made, or tried to
    int sleeps;
  };

  // Sends the mail with an agent that dies at that step of that request.
  Outcome Send(int request, Step step, int answer = 4) {
    MortalAgent agent(request, step, answer);
    m_agent = &agent;
    m_dying = request;
    m_step = step;
    m_requests = 0;
    m_sleeps = 0;
    tick += 10000;
    ForgetLines();
    VARIANT_BOOL cancel = kNotSet;
    EXPECT_EQ(Sink().OnMailSend(&cancel), S_OK);
    EXPECT_EQ(agent.Lives(), request == kNever) << "it has reached its step";
    m_agent = nullptr;
    return {cancel, m_requests, m_sleeps};
  }

  static std::size_t OpenDescriptors() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

 private:
  // While the add-in sleeps, the agent goes on until its next report.
  void OnSleep(std::uint32_t milliseconds) {
    EXPECT_EQ(milliseconds, 20U);
    ++m_sleeps;
    if (m_agent->Lives() && m_agent->Next() == kAtTheStep) m_agent->Kill();
  }

  void OnRequest() {
    if (m_step == Step::kBetweenRequests && m_requests == m_dying + 1 && m_agent->Lives()) {
      EXPECT_EQ(m_agent->Next(), kAtTheStep);
      m_agent->Kill();
    }
    ++m_requests;
  }

  MortalAgent* m_agent = nullptr;
  int m_dying = kNever;
  Step m_step = Step::kBeforeTaking;
  int m_requests = 0;
  int m_sleeps = 0;
  std::optional<platform::ScopedReplacement<platform::clock, &platform::ClockOperations::Sleep>>
      m_sleep;
  std::optional<platform::ScopedReplacement<platform::mappings,
                                            &platform::MappingOperations::OpenFileMappingA>>
      m_open;
};

// The number of sleeps during a request whose agent dies at this step. An answered request has two.
int SleepsOf(Step step) {
  switch (step) {
    case Step::kBeforeTaking:
    case Step::kBeforeBlock:
    case Step::kBeforeFilling:
      return 399;
    case Step::kBeforeAnswer:
      return 1 + 124;
    default:
      return 2;
  }
}

TEST_F(AgentDeath, NeverHoldsUpTheMailOrTheNextOne) {
  Send(kNever, Step::kBeforeTaking);
  const std::size_t descriptors = OpenDescriptors();
  for (int request = 0; request < kRequests; ++request) {
    for (const Step step : {Step::kBeforeTaking, Step::kBeforeBlock, Step::kBeforeFilling,
                            Step::kBeforeAnswer, Step::kAfterAnswer, Step::kBetweenRequests}) {
      // Nothing follows the last request.
      if (request == kRequests - 1 && step == Step::kBetweenRequests) continue;
      SCOPED_TRACE("request " + std::to_string(request) + ", step " +
                   std::to_string(static_cast<int>(step)));
      const Outcome died = Send(request, step);
      EXPECT_EQ(died.cancel, kNotSet) << "the mail goes out";
      EXPECT_EQ(died.sleeps, 2 * request + SleepsOf(step));
      // The content follows only if the recipients were answered.
      const bool hasContent = request > 0 || step >= Step::kAfterAnswer;
      EXPECT_EQ(died.requests, hasContent ? kRequests : kEnvelopeRequests + 1);
      // The requests after that one find no agent, which costs no time.
      const int alone = died.requests - request - 1;
      const std::vector<std::string> lines = Messages();
      EXPECT_EQ(
          std::count(lines.begin(), lines.end(), "CheckContent: cannot initialize shared memory!"),
          alone);
      EXPECT_EQ(std::count(lines.begin(), lines.end(), "CheckContent: lActionCode=1 iTimeOut=0"),
                step == Step::kBeforeAnswer ? 1 : 0);

      const Outcome next = Send(kNever, step);
      EXPECT_EQ(next.cancel, kNotSet);
      EXPECT_EQ(next.requests, kRequests);
      EXPECT_EQ(next.sleeps, 2 * kRequests);
      EXPECT_FALSE(Exists("temp/ExchangeBodyContent"));
      EXPECT_EQ(OpenDescriptors(), descriptors);
      if (HasFailure()) return;
    }
  }
}

TEST_F(AgentDeath, AfterItsAnswerStillCountsTheAnswer) {
  for (int request = 0; request < kRequests; ++request) {
    SCOPED_TRACE(request);
    const Outcome died = Send(request, Step::kAfterAnswer, 3);
    // As an answer to recipients, sender or marker, a 3 decides nothing.
    EXPECT_EQ(died.cancel, request < kEnvelopeRequests ? kNotSet : 1);
    EXPECT_EQ(died.sleeps, 2 * (request + 1));
    EXPECT_EQ(Send(kNever, Step::kAfterAnswer).cancel, kNotSet);
  }
}

TEST_F(AgentDeath, BeforeItsAnswerDecidesNothing) {
  for (int request = 0; request < kRequests; ++request) {
    SCOPED_TRACE(request);
    EXPECT_EQ(Send(request, Step::kBeforeAnswer, 3).cancel, kNotSet);
  }
}

}  // namespace
}  // namespace tests
