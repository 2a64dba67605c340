// Sends the logger's datagrams to a real syslog daemon: Debian's rsyslogd, a child of the test with
// its own settings, port and files. Without it these tests fail; they are never skipped.
//
// The datagrams have no syslog header, so the rules write %rawmsg%. rsyslogd removes the final LF.
// By default it writes each byte below 0x20 as "#" and three octal digits; other bytes stay, valid
// UTF-8 or not.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "logging/socketstream.h"
#include "tests/logging/loggingtest.h"
#include "tests/logging/udpreceiver.h"
#include "tests/support/temporaryfolder.h"

namespace {

constexpr const char* kDaemon = "/usr/sbin/rsyslogd";
const std::string kInfo = std::string(kStamp) + "Outlook> Info: ";

class Rsyslog : public testing::Test {
 protected:
  ~Rsyslog() override { Stop(); }

  // Starts the daemon with these additional global settings and lets the logger send to it.
  void Start(const std::string& settings) {
    ASSERT_EQ(access(kDaemon, X_OK), 0) << "Debian's package rsyslog is missing";
    // Another process may take the free port first.
    for (int attempt = 0; attempt < 5 && !TryStart(settings); ++attempt) Stop();
    ASSERT_NE(m_daemon, 0) << "the daemon doesn't listen:\n" << FileBytes(Entry("errors"));
    ASSERT_EQ(m_logger.AddStream("Outlook", 15, "UDP", m_parameter.c_str()), 1);
  }

  // What the daemon has written after the first lines, as soon as it ends with `last`.
  std::string Received(const std::string& last) {
    std::string text;
    for (int i = 0; i < 2000; ++i) {
      text = FileBytes(Entry("received")).substr(m_begin);
      if (text.ends_with(last)) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return text;
  }

  void Log(const std::string& message) {
    ASSERT_EQ(m_logger.Log("Outlook", kLogInfo, "%s", message.c_str()), 1);
  }

  OpenLogger m_logger;

 private:
  std::string Entry(const std::string& name) const { return m_folder.Entry(name); }

  bool TryStart(const std::string& settings) {
    std::uint16_t port = 0;
    {
      const UdpReceiver free;
      port = free.Port();
    }
    m_parameter = "127.0.0.1:" + std::to_string(port);
    std::ofstream(Entry("rsyslog.conf"))
        << "global(workDirectory=\"" << m_folder.Path().string() << "\" " << settings << ")\n"
        << "module(load=\"imudp\")\n"
        << "template(name=\"whole\" type=\"string\" string=\"%rawmsg%\\n\")\n"
        << "ruleset(name=\"take\") {\n"
        << "  action(type=\"omfile\" file=\"" << Entry("received") << "\" template=\"whole\")\n"
        << "}\n"
        << "input(type=\"imudp\" address=\"127.0.0.1\" port=\"" << port << "\" ruleset=\"take\")\n";
    Spawn();
    return Answers();
  }

  // In the foreground, with its own pid file.
  void Spawn() {
    const std::string settings = Entry("rsyslog.conf");
    const std::string processFile = Entry("rsyslogd.pid");
    std::string words[] = {kDaemon, "-n", "-C", "-f", settings, "-i", processFile};
    char* arguments[std::size(words) + 1] = {};
    for (std::size_t i = 0; i < std::size(words); ++i) arguments[i] = words[i].data();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, Entry("errors").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (posix_spawn(&m_daemon, kDaemon, &actions, nullptr, arguments, environ) != 0) m_daemon = 0;
    posix_spawn_file_actions_destroy(&actions);
  }

  // True once a line has arrived. Lines sent before the daemon listens are lost.
  bool Answers() {
    CSocketStream stream(m_parameter.c_str());
    for (int i = 0; i < 500 && m_daemon != 0; ++i) {
      stream.Write("first\n");
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      if (FileBytes(Entry("received")).empty()) continue;
      stream.Write("last of the first\n");
      const std::string end = "last of the first\n";
      if (!Received(end).ends_with(end)) return false;
      m_begin = FileBytes(Entry("received")).size();
      return true;
    }
    return false;
  }

  void Stop() {
    if (m_daemon == 0) return;
    kill(m_daemon, SIGTERM);
    int status = 0;
    waitpid(m_daemon, &status, 0);
    m_daemon = 0;
  }

  tests::TemporaryFolder m_folder;
  std::string m_parameter;
  std::size_t m_begin = 0;
  pid_t m_daemon = 0;
};

TEST_F(Rsyslog, WritesEveryLineUnchanged) {
  Start("parser.escapeControlCharactersOnReceive=\"off\"");
  const FixedStamp stamp;
  const std::string longest(2077 - kInfo.size(), 'x');
  Log("Gr\xC3\xBC\xC3\x9F"
      "e \xE2\x82\xAC \xF0\x9F\x93\xA7 100 % \"quoted\" \\ <13> #015");
  Log(longest + "cut off");
  Log("Body: one\r\ntwo\tand\x1B[0m three\x7F");
  Log("no UTF-8: \xFF\xC3 and \x80");
  Log("the end");
  EXPECT_EQ(Received("the end\r\n"),
            kInfo + "Gr\xC3\xBC\xC3\x9F" + "e \xE2\x82\xAC \xF0\x9F\x93\xA7 100 % " +
                "\"quoted\" \\ <13> #015\r\n" +  //
                kInfo + longest + "\r\n" +       //
                kInfo + "Body: one\r\ntwo\tand\x1B[0m three\x7F\r\n" + kInfo +
                "no UTF-8: \xFF\xC3 and \x80\r\n" +  //
                kInfo + "the end\r\n");
}

TEST_F(Rsyslog, ByDefaultWritesControlCharactersInOctal) {
  Start("");
  const FixedStamp stamp;
  Log("Body: one\r\ntwo\tand\x1B[0m three\x7F");
  Log("no UTF-8: \xFF\xC3 and \x80; \xC3\xBC");
  Log("the end");
  EXPECT_EQ(Received("the end#015\n"),
            kInfo + "Body: one#015#012two#011and#033[0m three\x7F#015\n" + kInfo +
                "no UTF-8: \xFF\xC3 and \x80; \xC3\xBC#015\n" + kInfo + "the end#015\n");
}

TEST_F(Rsyslog, LosesNoLineOfABurst) {
  Start("parser.escapeControlCharactersOnReceive=\"off\"");
  const FixedStamp stamp;
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    const std::string message = "line " + std::to_string(i) + std::string(500, '.');
    Log(message);
    expected += kInfo + message + "\r\n";
  }
  EXPECT_EQ(Received(std::string("line 99") + std::string(500, '.') + "\r\n"), expected);
}

}  // namespace
