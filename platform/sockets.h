// IPv4 datagram sockets for the UDP log stream.
#pragma once

#include <cstdint>

namespace platform {

using Socket = std::uintptr_t;
inline constexpr Socket kInvalidSocket = ~Socket{0};

inline constexpr int kAddressFamilyInet = 2;
inline constexpr int kSocketDatagram = 2;
// What inet_addr returns for anything but a dotted IPv4 address.
inline constexpr std::uint32_t kAddressNone = 0xFFFFFFFF;

struct SocketAddress {
  std::uint16_t port;     // in network order
  std::uint32_t address;  // in network order
};

struct SocketOperations {
  // Starts the socket library; `version` is 0x0202. Returns 0 on success. May be called repeatedly.
  int (*WSAStartup)(std::uint16_t version);
  // Returns kInvalidSocket on failure. Child processes don't inherit the socket.
  Socket (*CreateSocket)(int family, int type, int protocol);
  // Returns a dotted IPv4 address in network order, or kAddressNone. Doesn't resolve names.
  std::uint32_t (*ParseAddress)(const char* text);
  // Returns 0 on success. For a datagram socket this sets the peer and sends nothing.
  int (*Connect)(Socket socket, const SocketAddress& address);
  // Sends one datagram. Returns the number of bytes sent, or -1.
  int (*Send)(Socket socket, const char* data, int size);
  int (*CloseSocket)(Socket socket);
};

extern constinit SocketOperations sockets;

}  // namespace platform
