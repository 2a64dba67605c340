#include "tests/logging/udpreceiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <stdexcept>

UdpReceiver::UdpReceiver(std::uint16_t port) {
  const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
  if (receiver < 0) throw std::runtime_error("socket");
  m_socket = static_cast<std::uintptr_t>(receiver);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  socklen_t size = sizeof address;
  auto* const general = reinterpret_cast<sockaddr*>(&address);
  if (bind(receiver, general, size) != 0 || getsockname(receiver, general, &size) != 0) {
    close(receiver);
    throw std::runtime_error("bind");
  }
  m_port = ntohs(address.sin_port);
  timeval limit{};
  limit.tv_sec = 10;
  setsockopt(receiver, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

UdpReceiver::~UdpReceiver() {
  close(static_cast<int>(m_socket));
}

std::string UdpReceiver::Receive() {
  std::string datagram(65536, '\0');
  const ssize_t size = recv(static_cast<int>(m_socket), datagram.data(), datagram.size(), 0);
  if (size < 0) throw std::runtime_error("no datagram came");
  datagram.resize(static_cast<std::size_t>(size));
  return datagram;
}
