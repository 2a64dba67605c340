// A log stream to UDP.
#pragma once

#include <cstdint>

#include "logging/basestream.h"
#include "platform/sockets.h"

// Sends each line as one datagram to a dotted IPv4 address. Host names aren't resolved.
//
// The first line creates the socket. If that fails, the next line tries again; if connect fails,
// the stream stays silent.
class CSocketStream : public CBaseStream {
 public:
  // `parameter` is "address" or "address:port"; the default port is 514. The last ":" separates
  // them, and atoi converts the port, cut to 16 bits. Starts the socket library and never stops it.
  // If `parameter` is null or empty, or the library doesn't start, host and port stay unset.
  explicit CSocketStream(const char* parameter);
  ~CSocketStream() override;

  void Write(const char* text) override;

 protected:
  std::int32_t m_bConnected = 0;
  char* m_pszHost = nullptr;  // owned, from malloc
  std::uint16_t m_wPort = 0;  // in host order
  platform::Socket m_socket = platform::kInvalidSocket;

 private:
  void Connect();
};
