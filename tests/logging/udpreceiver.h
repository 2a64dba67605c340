// A socket that receives datagrams on this machine.
#pragma once

#include <cstdint>
#include <string>

class UdpReceiver {
 public:
  // Listens on 127.0.0.1 at a free port. Throws std::runtime_error if that can't be.
  UdpReceiver();
  ~UdpReceiver();

  UdpReceiver(const UdpReceiver&) = delete;
  UdpReceiver& operator=(const UdpReceiver&) = delete;

  std::uint16_t Port() const { return m_port; }

  // The next datagram, waited for at most ten seconds. Throws std::runtime_error if none comes.
  std::string Receive();

 private:
  std::uintptr_t m_socket = 0;
  std::uint16_t m_port = 0;
};
