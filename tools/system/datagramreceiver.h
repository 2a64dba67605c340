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
  // Listens at `port` of this machine's `address`, a dotted one; "0.0.0.0" is all of them, port 0
  // any that is free. Raises std::runtime_error, with the reason in words, if that can't be: the
  // address isn't this machine's, another program listens there, there is no right to.
  DatagramReceiver(const std::string& address, std::uint16_t port);
  ~DatagramReceiver();

  DatagramReceiver(const DatagramReceiver&) = delete;
  DatagramReceiver& operator=(const DatagramReceiver&) = delete;

  std::uint16_t Port() const { return m_port; }

  // Takes the next datagram, whole, waiting so long at most. False if none came, or if a signal
  // ended the wait.
  bool Receive(std::uint32_t milliseconds, Datagram* datagram);

 private:
  std::uintptr_t m_socket;
  std::uint16_t m_port = 0;
  std::string m_buffer;
};

}  // namespace tools::system
