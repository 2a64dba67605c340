#include "platform/sockets.h"

#include <winsock2.h>

namespace platform {
namespace {

static_assert(kAddressFamilyInet == AF_INET && kSocketDatagram == SOCK_DGRAM);
static_assert(kInvalidSocket == INVALID_SOCKET && kAddressNone == INADDR_NONE);

int WSAStartup(std::uint16_t version) {
  WSADATA data = {};
  return ::WSAStartup(version, &data);
}

Socket CreateSocket(int family, int type, int protocol) {
  const SOCKET made = ::socket(family, type, protocol);
  // Unlike other handles, sockets are inheritable by default.
  if (made != INVALID_SOCKET) {
    SetHandleInformation(reinterpret_cast<HANDLE>(made), HANDLE_FLAG_INHERIT, 0);
  }
  return made;
}

std::uint32_t ParseAddress(const char* text) {
  return text == nullptr ? kAddressNone : inet_addr(text);
}

int Connect(Socket socket, const SocketAddress& address) {
  sockaddr_in native = {};
  native.sin_family = AF_INET;
  native.sin_port = address.port;
  native.sin_addr.s_addr = address.address;
  return connect(socket, reinterpret_cast<const sockaddr*>(&native), sizeof native);
}

int Send(Socket socket, const char* data, int size) {
  const int sent = send(socket, data, size, 0);
  // Wine's `send` may report an earlier datagram's ICMP error. Windows doesn't, so ignore it once.
  return sent < 0 && WSAGetLastError() == WSAECONNREFUSED ? send(socket, data, size, 0) : sent;
}

int CloseSocket(Socket socket) {
  return closesocket(socket);
}

}  // namespace

constinit SocketOperations sockets = {
    .WSAStartup = &WSAStartup,
    .CreateSocket = &CreateSocket,
    .ParseAddress = &ParseAddress,
    .Connect = &Connect,
    .Send = &Send,
    .CloseSocket = &CloseSocket,
};

}  // namespace platform
