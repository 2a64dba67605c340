// The agent killed, with SIGKILL and in a process of its own, at each step of each request of a
// mail: the mail goes out or is blocked as far as the agent had spoken, nothing waits longer than
// it would for an agent that is only silent, and the next mail finds the next agent.
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "agentkit/agentkit.h"
#include "tests/agent/outlookaddin/gatefixture.h"

namespace tests {
namespace {

// Where the agent stands when it dies.
enum class Step {
  kBeforeTaking,    // the request lies in the ring
  kBeforeBlock,     // it was taken
  kBeforeFilling,   // the block is there and the add-in hasn't opened it
  kBeforeAnswer,    // the add-in has filled it
  kAfterAnswer,     // the answer stands there and the add-in hasn't looked
  kBetweenRequests  // the answer was taken
};

constexpr VARIANT_BOOL kNotSet = 5;
constexpr int kNever = 1000;
// Of a mail with everything: recipients, sender, envelope, subject, body, attachment, close.
constexpr int kRequests = 7;
constexpr int kEnvelopeRequests = 3;

// What the agent's process tells, one byte each.
constexpr char kBlockIsThere = 'b';
constexpr char kAnswerIsThere = 'a';
constexpr char kAtTheStep = 'k';

// An agent in a forked process, which stands still when it comes to its step.
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
    EXPECT_EQ(Next(), 'r') << "the ring stands";
  }
  ~MortalAgent() {
    Kill();
    close(m_pipe[0]);
    close(m_pipe[1]);
  }
  MortalAgent(const MortalAgent&) = delete;
  MortalAgent& operator=(const MortalAgent&) = delete;

  bool Lives() const { return m_process > 0; }

  // The next thing that it tells. The test's own patience has nothing to do with the add-in's.
  char Next() {
    pollfd wanted = {m_pipe[0], POLLIN, 0};
    char told = '?';
    if (poll(&wanted, 1, 60'000) != 1 || read(m_pipe[0], &told, 1) != 1) {
      ADD_FAILURE() << "the agent's process doesn't go on";
    }
    return told;
  }

  void Kill() {
    if (!Lives()) return;
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    m_process = 0;
  }

 private:
  void Tell(char what) { [[maybe_unused]] const ssize_t told = write(m_pipe[1], &what, 1); }
  void StandStill() {
    Tell(kAtTheStep);
    for (;;) pause();
  }

  void Serve(int wanted, Step step, int answer) {
    agentkit::RingConsumer ring;
    if (ring.Create({}) != agentkit::OpenResult::kOpened) return;
    Tell('r');
    for (int request = 0;; ++request) {
      const auto reach = [&](Step here) {
        if (request == wanted && step == here) StandStill();
      };
      while (ring.Header()->writeCursor == ring.Position()) usleep(50);
      reach(Step::kBeforeTaking);
      std::vector<unsigned char> payload;
      while (ring.Take(&payload) != agentkit::TakeResult::kTaken) usleep(50);
      reach(Step::kBeforeBlock);
      ContentRequest record{};
      std::memcpy(&record, payload.data(), sizeof(record));
      agentkit::Block block;
      if (!block.Make(record)) return;
      reach(Step::kBeforeFilling);
      Tell(kBlockIsThere);
      while (block.Look() != agentkit::Block::State::kWaiting) usleep(50);
      reach(Step::kBeforeAnswer);
      block.Answer(request == wanted ? answer : 4);
      reach(Step::kAfterAnswer);
      Tell(kAnswerIsThere);
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

  // Sends the mail past an agent that dies at that step of that request.
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
    EXPECT_EQ(agent.Lives(), request == kNever) << "it came to its step";
    m_agent = nullptr;
    return {cancel, m_requests, m_sleeps};
  }

  static std::size_t OpenDescriptors() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

 private:
  // The add-in waits 20 ms at a time, and here the agent goes on to where it says something in that
  // time. Of the dead nothing is to be waited for.
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

// So many sleeps of 20 ms a request costs whose agent dies there. One that is served costs two.
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

TEST_F(AgentDeath, AtNoStepOfNoRequestHoldsUpTheMailOrTheNextOne) {
  Send(kNever, Step::kBeforeTaking);
  const std::size_t descriptors = OpenDescriptors();
  for (int request = 0; request < kRequests; ++request) {
    for (const Step step : {Step::kBeforeTaking, Step::kBeforeBlock, Step::kBeforeFilling,
                            Step::kBeforeAnswer, Step::kAfterAnswer, Step::kBetweenRequests}) {
      // Between the last request and nothing there is no time to die in.
      if (request == kRequests - 1 && step == Step::kBetweenRequests) continue;
      SCOPED_TRACE("request " + std::to_string(request) + ", step " +
                   std::to_string(static_cast<int>(step)));
      const Outcome died = Send(request, step);
      EXPECT_EQ(died.cancel, kNotSet) << "the mail goes out";
      EXPECT_EQ(died.sleeps, 2 * request + SleepsOf(step));
      // The recipients' answer opens the content, if it came.
      const bool hasContent = request > 0 || step >= Step::kAfterAnswer;
      EXPECT_EQ(died.requests, hasContent ? kRequests : kEnvelopeRequests + 1);
      // Whoever comes behind the dead one's request finds no agent, and says so at once.
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

// An answer that stands in the block counts, whatever has become of who wrote it.
TEST_F(AgentDeath, BehindItsAnswerDoesNotTakeTheAnswerBack) {
  for (int request = 0; request < kRequests; ++request) {
    SCOPED_TRACE(request);
    const Outcome died = Send(request, Step::kAfterAnswer, 3);
    // To recipients, sender and the first marker a 3 decides nothing.
    EXPECT_EQ(died.cancel, request < kEnvelopeRequests ? kNotSet : 1);
    EXPECT_EQ(died.sleeps, 2 * (request + 1));
    EXPECT_EQ(Send(kNever, Step::kAfterAnswer).cancel, kNotSet);
  }
}

// And one that wasn't written yet doesn't.
TEST_F(AgentDeath, BeforeItsAnswerLeavesNoAnswer) {
  for (int request = 0; request < kRequests; ++request) {
    SCOPED_TRACE(request);
    EXPECT_EQ(Send(request, Step::kBeforeAnswer, 3).cancel, kNotSet);
  }
}

}  // namespace
}  // namespace tests
