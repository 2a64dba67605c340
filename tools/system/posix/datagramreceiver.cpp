#include "tools/system/datagramreceiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace tools::system {
namespace {

constexpr std::size_t kLargestDatagram = 65'536;
// A log comes in bursts: enough for a thousand lines that aren't read yet.
constexpr int kReceiveBuffer = 4 << 20;

std::string WordsOf(int code) {
  switch (code) {
    case EADDRINUSE:
      return "another program uses this port";
    case EADDRNOTAVAIL:
      return "this machine has no such address";
    case EACCES:
      return "permission denied: ports below 1024 need administrator's rights";
    default:
      return std::strerror(code);
  }
}

}  // namespace

DatagramReceiver::DatagramReceiver(const std::string& address, std::uint16_t port) {
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_port = htons(port);
  if (inet_pton(AF_INET, address.c_str(), &own.sin_addr) != 1) {
    throw std::runtime_error("this is no dotted IPv4 address");
  }
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) throw std::runtime_error(WordsOf(errno));
  setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof(kReceiveBuffer));
  socklen_t size = sizeof(own);
  auto* const general = reinterpret_cast<sockaddr*>(&own);
  if (bind(descriptor, general, size) != 0 || getsockname(descriptor, general, &size) != 0) {
    const int code = errno;
    close(descriptor);
    throw std::runtime_error(WordsOf(code));
  }
  m_socket = static_cast<std::uintptr_t>(descriptor);
  m_port = ntohs(own.sin_port);
  m_buffer.resize(kLargestDatagram);
}

DatagramReceiver::~DatagramReceiver() {
  close(static_cast<int>(m_socket));
}

bool DatagramReceiver::Receive(std::uint32_t milliseconds, Datagram* datagram) {
  pollfd wait{static_cast<int>(m_socket), POLLIN, 0};
  if (poll(&wait, 1, static_cast<int>(milliseconds)) <= 0) return false;
  sockaddr_in from{};
  socklen_t size = sizeof(from);
  const ssize_t received = recvfrom(static_cast<int>(m_socket), m_buffer.data(), m_buffer.size(),
                                    MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &size);
  if (received < 0) return false;
  datagram->bytes.assign(m_buffer, 0, static_cast<std::size_t>(received));
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &from.sin_addr, text.data(), text.size());
  datagram->sender = std::string(text.data()) + ":" + std::to_string(ntohs(from.sin_port));
  return true;
}

}  // namespace tools::system
