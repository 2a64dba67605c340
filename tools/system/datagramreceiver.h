// Receiving datagrams (UDP over IPv4).
#pragma once

#include <cstdint>
#include <string>

namespace tools::system {

struct Datagram {
  std::string bytes;   // may be empty
  std::string sender;  // "127.0.0.1:40212"
};

// A socket that is open for as long as the object lives. For one thread.
class DatagramReceiver {
 public:
  // Listens on `port` at this machine's `address`, a dotted one; "0.0.0.0" is all of them, port 0
  // any free port. Raises std::runtime_error with the reason if that fails: the machine has no such
  // address, another program uses the port, or this process may not use it.
  DatagramReceiver(const std::string& address, std::uint16_t port);
  ~DatagramReceiver();

  DatagramReceiver(const DatagramReceiver&) = delete;
  DatagramReceiver& operator=(const DatagramReceiver&) = delete;

  std::uint16_t Port() const { return m_port; }

  // Receives the next datagram and waits at most that long for it. False if none arrived, or if a
  // signal ended the wait.
  bool Receive(std::uint32_t milliseconds, Datagram* datagram);

 private:
  std::uintptr_t m_socket;
  std::uint16_t m_port = 0;
  std::string m_buffer;
};

}  // namespace tools::system
