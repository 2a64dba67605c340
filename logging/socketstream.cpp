#include "logging/socketstream.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "logging/runtimetext.h"

namespace {

constexpr std::uint16_t kSyslogPort = 514;
constexpr std::uint16_t kSocketVersion = 0x0202;

std::uint16_t ToNetworkOrder(std::uint16_t value) {
  if constexpr (std::endian::native == std::endian::big) return value;
  return static_cast<std::uint16_t>((value << 8) | (value >> 8));
}

}  // namespace

CSocketStream::CSocketStream(const char* parameter) {
  if (parameter == nullptr || *parameter == '\0') return;
  if (platform::sockets.WSAStartup(kSocketVersion) != 0) return;
  m_wPort = kSyslogPort;
  const std::size_t size = std::strlen(parameter) + 1;
  m_pszHost = static_cast<char*>(std::malloc(size));
  if (m_pszHost == nullptr) return;
  std::memcpy(m_pszHost, parameter, size);
  if (char* const colon = std::strrchr(m_pszHost, ':'); colon != nullptr) {
    m_wPort = static_cast<std::uint16_t>(logging::ToInteger(colon + 1));
    *colon = '\0';
  }
}

CSocketStream::~CSocketStream() {
  if (m_socket != platform::kInvalidSocket) platform::sockets.CloseSocket(m_socket);
  std::free(m_pszHost);
}

void CSocketStream::Write(const char* text) {
  if (text == nullptr || *text == '\0') return;
  if (m_socket == platform::kInvalidSocket) Connect();
  if (m_bConnected == 0) return;
  platform::sockets.Send(m_socket, text, static_cast<int>(std::strlen(text)));
}

void CSocketStream::Connect() {
  m_socket =
      platform::sockets.CreateSocket(platform::kAddressFamilyInet, platform::kSocketDatagram, 0);
  if (m_socket == platform::kInvalidSocket) return;
  // An invalid address becomes kAddressNone, and connect fails.
  platform::SocketAddress address{};
  address.port = ToNetworkOrder(m_wPort);
  address.address =
      m_pszHost == nullptr ? platform::kAddressNone : platform::sockets.ParseAddress(m_pszHost);
  if (platform::sockets.Connect(m_socket, address) == 0) m_bConnected = 1;
}
