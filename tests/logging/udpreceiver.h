// Receives datagrams on this machine.
#pragma once

#include <cstdint>
#include <string>

class UdpReceiver {
 public:
  // Listens on this port of 127.0.0.1, by default on a free one. Throws std::runtime_error on
  // failure.
  explicit UdpReceiver(std::uint16_t port = 0);
  ~UdpReceiver();

  UdpReceiver(const UdpReceiver&) = delete;
  UdpReceiver& operator=(const UdpReceiver&) = delete;

  std::uint16_t Port() const { return m_port; }

  // Returns the next datagram. Throws std::runtime_error if none arrives within ten seconds.
  std::string Receive();

 private:
  std::uintptr_t m_socket = 0;
  std::uint16_t m_port = 0;
};
