// `quorvex log listen`: the add-in's log as it comes in by UDP.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "inspection/logs/logdatagram.h"
#include "logging/runtimetext.h"
#include "platform/clock.h"
#include "tools/command.h"
#include "tools/displaywidth.h"
#include "tools/logcommand.h"
#include "tools/system/datagramreceiver.h"
#include "tools/system/stopsignal.h"
#include "tools/system/terminal.h"
#include "tools/textreport.h"

namespace tools {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kHelp =
    "Examples:\n"
    "  quorvex log listen                             on this machine, port 514\n"
    "  quorvex log listen --port 5514 --level warn    what is worth a look\n"
    "  quorvex log listen --address 0.0.0.0 --json    from all machines, for a program\n\n"
    "A line \"Outlook 15 UDP 127.0.0.1:5514\" in Logger.cfg sends the log here. Ports\n"
    "below 1024 may need the administrator's rights. What isn't a line of the log is\n"
    "shown as \"foreign\", with \\xNN for each byte that is no printable ASCII; with\n"
    "--level or --module it is left out. Ends on Ctrl-C.\n\n"
    "Exit status: 0 ended by --count or Ctrl-C, 3 usage, or the port can't be had.";

// How long a wish to end may wait where no signal interrupts the waiting.
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
    // Before the socket: a wish to end isn't missed.
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
      throw CommandError(fmt::format("log listen: {}:{}: {}", Printable(m_options.address),
                                     m_options.port, error.what()),
                         kStatusUsage);
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
    Json json = {{"received", Now(true)}, {"sender", datagram.sender}, {"foreign", !line}};
    if (line) {
      json["time"] = line->time;
      json["thread"] = line->thread;
      json["level"] = line->level;
      json["module"] = ValidUtf8(line->module);
      json["text"] = ValidUtf8(line->message);
    } else {
      json["bytes"] = datagram.bytes.size();
      json["text"] = inspection::logs::Escaped(datagram.bytes);
    }
    fmt::print("{}\n", json.dump());
  }

  const ListenOptions& m_options;
  int m_gravity;
  bool m_colours;
  std::size_t m_shown = 0;
  std::size_t m_leftOut = 0;
};

}  // namespace

void AddLogListen(CLI::App* log, int* status) {
  auto options = std::make_shared<ListenOptions>();
  CLI::App* const listen = log->add_subcommand("listen", "Show the log as it comes in by UDP");
  listen->add_option("--port", options->port, "The port; 0 is any that is free")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  listen->add_option("--address", options->address, "This machine's address; 0.0.0.0 is all")
      ->capture_default_str();
  listen->add_option("--level", options->level, "Only this level and graver ones")
      ->check(CLI::IsMember({"info", "warn", "err", "crit"}, CLI::ignore_case));
  listen->add_option("--module", options->modules, "Only this module's lines; may be repeated")
      ->type_name("NAME")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  listen->add_option("--count", options->count, "End when so many were shown")
      ->check(CLI::PositiveNumber);
  listen->add_flag("--json", options->json, "One JSON object a line");
  listen->footer(kHelp);
  listen->callback([options, status] { *status = Listening(*options).Run(); });
}

}  // namespace tools
