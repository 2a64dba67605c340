#include "tests/logging/udpreceiver.h"

#include <winsock2.h>

#include <stdexcept>

UdpReceiver::UdpReceiver(std::uint16_t port) {
  WSADATA data{};
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) throw std::runtime_error("WSAStartup");
  const SOCKET receiver = socket(AF_INET, SOCK_DGRAM, 0);
  if (receiver == INVALID_SOCKET) throw std::runtime_error("socket");
  m_socket = receiver;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  int size = sizeof address;
  auto* const general = reinterpret_cast<sockaddr*>(&address);
  if (bind(receiver, general, size) != 0 || getsockname(receiver, general, &size) != 0) {
    closesocket(receiver);
    throw std::runtime_error("bind");
  }
  m_port = ntohs(address.sin_port);
  const DWORD limit = 10000;
  setsockopt(receiver, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit),
             sizeof limit);
}

UdpReceiver::~UdpReceiver() {
  closesocket(m_socket);
}

std::string UdpReceiver::Receive() {
  std::string datagram(65536, '\0');
  const int size = recv(m_socket, datagram.data(), static_cast<int>(datagram.size()), 0);
  if (size < 0) throw std::runtime_error("no datagram came");
  datagram.resize(static_cast<std::size_t>(size));
  return datagram;
}
