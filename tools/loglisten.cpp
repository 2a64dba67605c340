// `quorvex log listen`: shows the add-in's log as it arrives by UDP.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inspection/logs/logdatagram.h"
#include "logging/runtimetext.h"
#include "platform/clock.h"
#include "tools/command.h"
#include "tools/json.h"
#include "tools/system/datagramreceiver.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/text.h"

namespace tools {

namespace {

constexpr const char* kListenHelp =
    "Examples:\n"
    "  quorvex log listen                             on this machine, port 514\n"
    "  quorvex log listen --port 5514 --level warn    warnings and worse\n"
    "  quorvex log listen --address 0.0.0.0 --json    from all machines, in JSON\n\n"
    "A line \"Outlook 15 UDP 127.0.0.1:5514\" in Logger.cfg sends the log here. Ports\n"
    "below 1024 may need administrator's rights. A datagram that isn't a line of the\n"
    "log is shown as \"foreign\", with \\xNN for each byte that isn't printable ASCII;\n"
    "--level and --module leave it out. Ends on Ctrl-C.\n\n"
    "Exit status: 0 ended by --count or Ctrl-C, 3 wrong usage, or the port can't be\n"
    "opened.";

// How long Ctrl-C may take where it doesn't interrupt the wait.
constexpr std::uint32_t kWaitMs = 200;

struct ListenOptions {
  std::string address = "127.0.0.1";
  std::uint16_t port = 514;
  std::string level;
  std::vector<std::string> modules;
  std::size_t count = 0;
  bool json = false;
};

class Listening {
 public:
  explicit Listening(const ListenOptions& options)
      : m_options(options),
        m_gravity(options.level.empty() ? 0
                                        : inspection::logs::GravityOf(options.level).value_or(0)),
        m_colours(!options.json && tools::system::TakesColours(tools::system::Stream::kOutput)) {}

  int Run() {
    // Before the socket is opened, so that no signal is missed.
    const tools::system::StopSignal stop;
    std::unique_ptr<tools::system::DatagramReceiver> receiver = Open();
    fmt::print(stderr, "listening on {}:{}; Ctrl-C ends\n", m_options.address, receiver->Port());
    tools::system::Datagram datagram;
    while (!stop.Flag() && (m_options.count == 0 || m_shown < m_options.count)) {
      if (receiver->Receive(kWaitMs, &datagram)) Take(datagram);
    }
    fmt::print(stderr, "{} shown, {} left out\n", m_shown, m_leftOut);
    return kStatusDone;
  }

 private:
  std::unique_ptr<tools::system::DatagramReceiver> Open() const {
    try {
      return std::make_unique<tools::system::DatagramReceiver>(m_options.address, m_options.port);
    } catch (const std::runtime_error& error) {
      throw CommandError(
          fmt::format("{}:{}: {}", Printable(m_options.address), m_options.port, error.what()));
    }
  }

  void Take(const tools::system::Datagram& datagram) {
    const std::optional<inspection::logs::LogLine> line =
        inspection::logs::ParseLogDatagram(datagram.bytes);
    if (line ? !IsWanted(*line) : m_gravity > 0 || !m_options.modules.empty()) {
      ++m_leftOut;
      return;
    }
    ++m_shown;
    if (m_options.json) {
      ShowJson(datagram, line);
    } else {
      ShowText(datagram, line);
    }
    std::fflush(stdout);
  }

  bool IsWanted(const inspection::logs::LogLine& line) const {
    const auto& modules = m_options.modules;
    return inspection::logs::GravityOf(line.level).value_or(0) >= m_gravity &&
           (modules.empty() ||
            std::any_of(modules.begin(), modules.end(), [&line](const std::string& module) {
              return logging::EqualsIgnoringCase(module, line.module);
            }));
  }

  static std::string Now(bool hasDate) {
    platform::LocalTime now{};
    platform::clock.GetLocalTime(&now);
    std::string time =
        fmt::format("{:02}:{:02}:{:02}.{:03}", now.hour, now.minute, now.second, now.millisecond);
    if (hasDate) time = fmt::format("{:04}-{:02}-{:02}T", now.year, now.month, now.day) + time;
    return time;
  }

  void ShowText(const tools::system::Datagram& datagram,
                const std::optional<inspection::logs::LogLine>& line) {
    const std::string begin = fmt::format("{} {:<21} ", Now(false), datagram.sender);
    if (!line) {
      fmt::print("{}foreign  {}\n", begin, inspection::logs::Escaped(datagram.bytes));
      return;
    }
    const int gravity = inspection::logs::GravityOf(line->level).value_or(0);
    const bool isColoured = m_colours && gravity >= 2;
    fmt::print("{}{}{:<4} {}: {}{}\n", begin,
               !isColoured    ? ""
               : gravity == 2 ? "\x1b[33m"
                              : "\x1b[31m",
               line->level, Printable(line->module), Printable(line->message),
               isColoured ? "\x1b[0m" : "");
  }

  static void ShowJson(const tools::system::Datagram& datagram,
                       const std::optional<inspection::logs::LogLine>& line) {
    Json json = Json::Object();
    json.Add("received", Now(true)).Add("sender", datagram.sender).Add("foreign", !line);
    if (line) {
      json.Add("time", line->time)
          .Add("thread", line->thread)
          .Add("level", line->level)
          .Add("module", line->module)
          .Add("text", line->message);
    } else {
      json.Add("bytes", datagram.bytes.size())
          .Add("text", inspection::logs::Escaped(datagram.bytes));
    }
    fmt::print("{}\n", json.Text());
  }

  const ListenOptions& m_options;
  int m_gravity;
  bool m_colours;
  std::size_t m_shown = 0;
  std::size_t m_leftOut = 0;
};

}  // namespace

Command LogListenCommand() {
  auto options = std::make_shared<ListenOptions>();
  return {
      .name = "listen",
      .summary = "Show the log as it arrives by UDP",
      .footer = kListenHelp,
      .options = {{.name = "--port",
                   .target = &options->port,
                   .help = "The port; 0 takes any free one",
                   .showsDefault = true},
                  {.name = "--address",
                   .target = &options->address,
                   .help = "The address of this machine to listen on; 0.0.0.0 is all of them",
                   .showsDefault = true},
                  {.name = "--level",
                   .target = &options->level,
                   .help = "Only this level and worse",
                   .oneOf = {"info", "warn", "err", "crit"}},
                  {.name = "--module",
                   .target = &options->modules,
                   .help = "Only this module's lines; may be repeated",
                   .valueName = "NAME"},
                  {.name = "--count",
                   .target = &options->count,
                   .help = "End after this many lines",
                   .least = 1},
                  {.name = "--json", .target = &options->json, .help = "One JSON object a line"}},
      .run = [options] { return Listening(*options).Run(); },
  };
}

}  // namespace tools
