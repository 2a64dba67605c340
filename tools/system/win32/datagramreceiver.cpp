#include "tools/system/datagramreceiver.h"

#include <winsock2.h>

#include <stdexcept>

namespace tools::system {
namespace {

constexpr std::size_t kLargestDatagram = 65'536;
// A log comes in bursts: enough for a thousand lines that aren't read yet.
constexpr int kReceiveBuffer = 4 << 20;

std::string WordsOf(int code) {
  switch (code) {
    case WSAEADDRINUSE:
      return "another program uses this port";
    case WSAEADDRNOTAVAIL:
      return "this machine has no such address";
    case WSAEACCES:
      return "permission denied: the system or another program has the port for itself";
    default:
      return "the system's error " + std::to_string(code);
  }
}

// To and from the network's byte order.
std::uint16_t Swapped(std::uint16_t value) {
  return static_cast<std::uint16_t>((value << 8) | (value >> 8));
}

std::string TextOf(const sockaddr_in& address) {
  const auto* const parts = reinterpret_cast<const unsigned char*>(&address.sin_addr);
  std::string text;
  for (int i = 0; i < 4; ++i) text += (i == 0 ? "" : ".") + std::to_string(int{parts[i]});
  return text + ":" + std::to_string(Swapped(address.sin_port));
}

// inet_addr accepts more than dotted addresses, and its error result is also the broadcast address.
bool IsDotted(const std::string& text) {
  int dots = 0;
  int digits = 0;
  int part = 0;
  for (const char c : text) {
    if (c == '.') {
      if (digits == 0) return false;
      ++dots;
      digits = part = 0;
    } else if (c >= '0' && c <= '9') {
      part = 10 * part + (c - '0');
      if (++digits > 3 || part > 255) return false;
    } else {
      return false;
    }
  }
  return dots == 3 && digits > 0;
}

}  // namespace

DatagramReceiver::DatagramReceiver(const std::string& address, std::uint16_t port) {
  if (!IsDotted(address)) throw std::runtime_error("this is no dotted IPv4 address");
  constexpr WORD kVersion = 0x0202;
  WSADATA data = {};
  if (const int code = WSAStartup(kVersion, &data); code != 0) {
    throw std::runtime_error(WordsOf(code));
  }
  const SOCKET socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in own = {};
  own.sin_family = AF_INET;
  own.sin_port = Swapped(port);
  own.sin_addr.s_addr = inet_addr(address.c_str());
  int size = sizeof(own);
  auto* const general = reinterpret_cast<sockaddr*>(&own);
  if (socket == INVALID_SOCKET || bind(socket, general, size) != 0 ||
      getsockname(socket, general, &size) != 0) {
    const int code = WSAGetLastError();
    if (socket != INVALID_SOCKET) closesocket(socket);
    WSACleanup();
    throw std::runtime_error(WordsOf(code));
  }
  setsockopt(socket, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&kReceiveBuffer),
             sizeof(kReceiveBuffer));
  m_socket = socket;
  m_port = Swapped(own.sin_port);
  m_buffer.resize(kLargestDatagram);
}

DatagramReceiver::~DatagramReceiver() {
  closesocket(m_socket);
  WSACleanup();
}

bool DatagramReceiver::Receive(std::uint32_t milliseconds, Datagram* datagram) {
  fd_set wait;
  FD_ZERO(&wait);
  FD_SET(m_socket, &wait);
  timeval limit = {static_cast<long>(milliseconds / 1000),
                   static_cast<long>(milliseconds % 1000 * 1000)};
  if (select(0, &wait, nullptr, nullptr, &limit) <= 0) return false;
  sockaddr_in from = {};
  int size = sizeof(from);
  const int received = recvfrom(m_socket, m_buffer.data(), static_cast<int>(m_buffer.size()), 0,
                                reinterpret_cast<sockaddr*>(&from), &size);
  if (received < 0) return false;
  datagram->bytes.assign(m_buffer, 0, static_cast<std::size_t>(received));
  datagram->sender = TextOf(from);
  return true;
}

}  // namespace tools::system
