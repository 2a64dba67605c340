// Log lines as UDP datagrams.
#pragma once

#include <cstdint>

#include "logging/basestream.h"
#include "platform/sockets.h"

// Sends each line as one datagram to a dotted IPv4 address; host names are not looked up.
//
// The first line makes the socket. A socket that can't be made is tried again by the next line; a
// connect that failed is not, and the stream is silent from then on.
class CSocketStream : public CBaseStream {
 public:
  // "address" or "address:port", with port 514 by default. The last ":" divides, the port is what
  // the runtime's atoi makes of the rest, cut to 16 bits. Starts the socket library, which stays
  // started to the end of the process. Null, an empty text and a library that doesn't start leave
  // the stream without host and port.
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
