// The stream to UDP.
#include "logging/socketstream.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/scopedreplacement.h"
#include "platform/sockets.h"
#include "tests/logging/loggingtest.h"
#include "tests/logging/udpreceiver.h"

namespace {

using platform::kInvalidSocket;
using platform::ScopedReplacement;
using platform::Socket;
using platform::SocketAddress;
using platform::SocketOperations;
using testing::ElementsAre;
using testing::IsEmpty;

class OpenSocketStream : public CSocketStream {
 public:
  using CSocketStream::CSocketStream;
  using CSocketStream::m_bConnected;
  using CSocketStream::m_pszHost;
  using CSocketStream::m_socket;
  using CSocketStream::m_wPort;
};

// A fake network that records what the stream does.
class SocketStream : public testing::Test {
 protected:
  int startResult = 0;
  Socket nextSocket = 77;
  std::uint32_t parsedAddress = 0x0100007F;
  int connectResult = 0;
  int sendResult = 0;
  std::vector<std::string> calls;
  SocketAddress connectedTo{};

 private:
  ScopedReplacement<platform::sockets, &SocketOperations::WSAStartup> m_start{
      [this](auto, std::uint16_t version) {
        calls.push_back("start " + std::to_string(version));
        return startResult;
      }};
  ScopedReplacement<platform::sockets, &SocketOperations::CreateSocket> m_create{
      [this](auto, int family, int type, int protocol) {
        calls.push_back("socket " + std::to_string(family) + " " + std::to_string(type) + " " +
                        std::to_string(protocol));
        return nextSocket;
      }};
  ScopedReplacement<platform::sockets, &SocketOperations::ParseAddress> m_parse{
      [this](auto, const char* text) {
        calls.push_back(std::string("parse ") + text);
        return parsedAddress;
      }};
  ScopedReplacement<platform::sockets, &SocketOperations::Connect> m_connect{
      [this](auto, Socket socket, const SocketAddress& address) {
        calls.push_back("connect " + std::to_string(socket));
        connectedTo = address;
        return connectResult;
      }};
  ScopedReplacement<platform::sockets, &SocketOperations::Send> m_send{
      [this](auto, Socket socket, const char* data, int size) {
        calls.push_back("send " + std::to_string(socket) + " " +
                        std::string(data, static_cast<std::size_t>(size)));
        return sendResult;
      }};
  ScopedReplacement<platform::sockets, &SocketOperations::CloseSocket> m_close{
      [this](auto, Socket socket) {
        calls.push_back("close " + std::to_string(socket));
        return 0;
      }};
};

TEST_F(SocketStream, StartsTheSocketLibraryAndNothingElse) {
  {
    const OpenSocketStream stream("127.0.0.1");
    EXPECT_EQ(stream.m_socket, kInvalidSocket);
    EXPECT_EQ(stream.m_bConnected, 0);
  }
  EXPECT_THAT(calls, ElementsAre("start 514"));  // 0x0202
}

TEST_F(SocketStream, WithNullOrEmptyParameterDoesNothing) {
  for (const char* parameter : {static_cast<const char*>(nullptr), ""}) {
    const OpenSocketStream stream(parameter);
    EXPECT_EQ(stream.m_pszHost, nullptr);
    EXPECT_EQ(stream.m_wPort, 0);
    EXPECT_EQ(stream.m_socket, kInvalidSocket);
  }
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(SocketStream, SendsToTheSyslogPortWithoutAColon) {
  const OpenSocketStream stream("10.1.2.3");
  EXPECT_STREQ(stream.m_pszHost, "10.1.2.3");
  EXPECT_EQ(stream.m_wPort, 514);
}

TEST_F(SocketStream, ConvertsThePortLikeAtoi) {
  const std::pair<const char*, int> cases[] = {
      {"h:1514", 1514},
      {"h:0", 0},
      {"h:65535", 65535},
      {"h:65536", 0},
      {"h:70000", 4464},
      {"h:12x", 12},
      {"h:abc", 0},
      {"h:-1", 65535},
      {"h: +7", 7},
      {"h:2147483648", 65535},
      {"h:99999999999999999999", 65535},
  };
  for (const auto& [parameter, port] : cases) {
    const OpenSocketStream stream(parameter);
    EXPECT_EQ(stream.m_wPort, port) << parameter;
    EXPECT_STREQ(stream.m_pszHost, "h") << parameter;
  }
}

TEST_F(SocketStream, HasPortZeroIfTheParameterEndsWithAColon) {
  const OpenSocketStream stream("127.0.0.1:");
  EXPECT_EQ(stream.m_wPort, 0);
  EXPECT_STREQ(stream.m_pszHost, "127.0.0.1");
}

TEST_F(SocketStream, DividesAtTheLastOfTwoColons) {
  OpenSocketStream stream("127.0.0.1:5:99");
  EXPECT_EQ(stream.m_wPort, 99);
  EXPECT_STREQ(stream.m_pszHost, "127.0.0.1:5");
  calls.clear();
  stream.Write("x");
  EXPECT_THAT(calls, ElementsAre("socket 2 2 0", "parse 127.0.0.1:5", "connect 77", "send 77 x"));
  EXPECT_EQ(connectedTo.port, 99 * 256);
}

TEST_F(SocketStream, ConnectsWithTheFirstLineAndSendsEachUnchanged) {
  OpenSocketStream stream("10.1.2.3:4660");  // 0x1234
  calls.clear();
  stream.Write("one\r\n");
  stream.Write("two\r\n");
  EXPECT_THAT(calls, ElementsAre("socket 2 2 0", "parse 10.1.2.3", "connect 77", "send 77 one\r\n",
                                 "send 77 two\r\n"));
  const auto* const port = reinterpret_cast<const unsigned char*>(&connectedTo.port);
  EXPECT_EQ(port[0], 0x12);
  EXPECT_EQ(port[1], 0x34);
  EXPECT_EQ(connectedTo.address, parsedAddress);
  EXPECT_EQ(stream.m_bConnected, 1);
}

TEST_F(SocketStream, IgnoresNullAndEmptyText) {
  OpenSocketStream stream("127.0.0.1");
  calls.clear();
  stream.Write(nullptr);
  stream.Write("");
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(SocketStream, ClosesItsSocketAtTheEnd) {
  {
    OpenSocketStream stream("127.0.0.1");
    stream.Write("x");
    calls.clear();
  }
  EXPECT_THAT(calls, ElementsAre("close 77"));
}

// Failures.

TEST_F(SocketStream, WithoutTheLibraryHasNoHostAndTriesToCreateASocketForEachLine) {
  startResult = 10091;
  nextSocket = kInvalidSocket;
  {
    OpenSocketStream stream("127.0.0.1:99");
    EXPECT_EQ(stream.m_pszHost, nullptr);
    EXPECT_EQ(stream.m_wPort, 0);
    calls.clear();
    stream.Write("x");
    stream.Write("y");
  }
  EXPECT_THAT(calls, ElementsAre("socket 2 2 0", "socket 2 2 0"));
}

TEST_F(SocketStream, WithoutAHostConnectsToTheNoneAddress) {
  startResult = 1;
  connectResult = -1;
  OpenSocketStream stream("127.0.0.1:99");
  stream.Write("x");
  EXPECT_EQ(connectedTo.address, platform::kAddressNone);
  EXPECT_EQ(connectedTo.port, 0);
  EXPECT_EQ(stream.m_bConnected, 0);
}

TEST_F(SocketStream, RetriesAfterAFailedSocket) {
  nextSocket = kInvalidSocket;
  OpenSocketStream stream("127.0.0.1");
  stream.Write("lost");
  nextSocket = 5;
  calls.clear();
  stream.Write("kept");
  EXPECT_THAT(calls, ElementsAre("socket 2 2 0", "parse 127.0.0.1", "connect 5", "send 5 kept"));
}

TEST_F(SocketStream, StaysSilentAfterAFailedConnect) {
  connectResult = -1;
  OpenSocketStream stream("127.0.0.1");
  stream.Write("lost");
  EXPECT_EQ(stream.m_socket, 77U);
  EXPECT_EQ(stream.m_bConnected, 0);
  connectResult = 0;
  calls.clear();
  stream.Write("lost too");
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(SocketStream, IgnoresAFailedSend) {
  OpenSocketStream stream("127.0.0.1");
  sendResult = -1;
  stream.Write("lost");
  sendResult = 0;
  calls.clear();
  stream.Write("sent");
  EXPECT_THAT(calls, ElementsAre("send 77 sent"));
}

// On the real loopback network.

TEST(SocketStreamOnLoopback, SendsOneDatagramForEachLine) {
  UdpReceiver receiver;
  FixedStamp stamp;
  OpenLogger logger;
  const std::string parameter = "127.0.0.1:" + std::to_string(receiver.Port());
  ASSERT_EQ(logger.AddStream("Outlook", kLogCrit, "UDP", parameter.c_str()), 1);
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, "Cannot %s", "\xC3\xA4"), 1);
  EXPECT_EQ(logger.Log("Outlook", kLogInfo, "not for this stream"), 1);
  const std::string longMessage(3000, 'x');
  EXPECT_EQ(logger.Log("Outlook", kLogCrit, "%s", longMessage.c_str()), 1);
  const std::string prefix = "(00042) 02/03/2024 04:05:06.007 Outlook> Crit: ";
  EXPECT_EQ(receiver.Receive(), prefix + "Cannot \xC3\xA4\r\n");
  EXPECT_EQ(receiver.Receive(), prefix + std::string(2077 - prefix.size(), 'x') + "\r\n");
}

TEST(SocketStreamOnLoopback, ReachesAReceiverThatStartsAfterTheFirstLines) {
  std::uint16_t port = 0;
  {
    const UdpReceiver closedAgain;
    port = closedAgain.Port();
  }
  OpenSocketStream stream(("127.0.0.1:" + std::to_string(port)).c_str());
  stream.Write("lost");
  stream.Write("lost");
  UdpReceiver receiver(port);
  stream.Write("received");
  EXPECT_EQ(receiver.Receive(), "received");
}

TEST(SocketStreamOnLoopback, DoesNotResolveAHostName) {
  EXPECT_EQ(platform::sockets.ParseAddress("localhost"), platform::kAddressNone);
  EXPECT_EQ(platform::sockets.ParseAddress("::1"), platform::kAddressNone);
  EXPECT_EQ(platform::sockets.ParseAddress("127.0.0.1:5"), platform::kAddressNone);
}

}  // namespace
