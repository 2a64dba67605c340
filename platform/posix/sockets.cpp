#include "platform/sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace platform {
namespace {

static_assert(kAddressFamilyInet == AF_INET && kSocketDatagram == SOCK_DGRAM);

int Descriptor(Socket socket) {
  return socket == kInvalidSocket ? -1 : static_cast<int>(socket);
}

int WSAStartup(std::uint16_t /*version*/) {
  return 0;
}

Socket CreateSocket(int family, int type, int protocol) {
  const int descriptor = ::socket(family, type | SOCK_CLOEXEC, protocol);
  return descriptor < 0 ? kInvalidSocket : static_cast<Socket>(descriptor);
}

std::uint32_t ParseAddress(const char* text) {
  return text == nullptr ? kAddressNone : inet_addr(text);
}

int Connect(Socket socket, const SocketAddress& address) {
  sockaddr_in native = {};
  native.sin_family = AF_INET;
  native.sin_port = address.port;
  native.sin_addr.s_addr = address.address;
  int result;
  do {
    result = connect(Descriptor(socket), reinterpret_cast<const sockaddr*>(&native), sizeof native);
  } while (result != 0 && errno == EINTR);
  return result;
}

int Send(Socket socket, const char* data, int size) {
  if (size < 0) return -1;
  // `send` may report an earlier datagram's ICMP error. Windows doesn't, so ignore it once.
  bool reported = false;
  for (;;) {
    const ssize_t sent =
        send(Descriptor(socket), data, static_cast<std::size_t>(size), MSG_NOSIGNAL);
    if (sent >= 0) return static_cast<int>(sent);
    if (errno == ECONNREFUSED && !reported) {
      reported = true;
    } else if (errno != EINTR) {
      return -1;
    }
  }
}

int CloseSocket(Socket socket) {
  return close(Descriptor(socket));
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
