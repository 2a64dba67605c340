// Receiving datagrams from the add-in's own stream, on this machine's network.
#include "tools/system/datagramreceiver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "logging/socketstream.h"

namespace tools::system {
namespace {

using testing::StartsWith;

constexpr std::uint32_t kLong = 10'000;

std::string ParameterFor(const DatagramReceiver& receiver) {
  return "127.0.0.1:" + std::to_string(receiver.Port());
}

std::string ReasonOf(const std::string& address, std::uint16_t port) {
  try {
    const DatagramReceiver receiver(address, port);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "none";
}

TEST(DatagramReceiver, TakesEachDatagramWholeAndInOrder) {
  DatagramReceiver receiver("127.0.0.1", 0);
  EXPECT_NE(receiver.Port(), 0);
  CSocketStream stream(ParameterFor(receiver).c_str());
  const std::string line(2079, 'x');
  stream.Write("one\r\n");
  stream.Write(line.c_str());
  stream.Write("\xFF\x80");
  Datagram datagram;
  ASSERT_TRUE(receiver.Receive(kLong, &datagram));
  EXPECT_EQ(datagram.bytes, "one\r\n");
  EXPECT_THAT(datagram.sender, StartsWith("127.0.0.1:"));
  const std::string sender = datagram.sender;
  ASSERT_TRUE(receiver.Receive(kLong, &datagram));
  EXPECT_EQ(datagram.bytes, line);
  ASSERT_TRUE(receiver.Receive(kLong, &datagram));
  EXPECT_EQ(datagram.bytes, "\xFF\x80");
  EXPECT_EQ(datagram.sender, sender);
}

TEST(DatagramReceiver, TakesALargeDatagram) {
  DatagramReceiver receiver("127.0.0.1", 0);
  CSocketStream stream(ParameterFor(receiver).c_str());
  const std::string large(60'000, 'y');
  stream.Write(large.c_str());
  Datagram datagram;
  ASSERT_TRUE(receiver.Receive(kLong, &datagram));
  EXPECT_EQ(datagram.bytes, large);
}

TEST(DatagramReceiver, GivesNothingWhenNothingComes) {
  DatagramReceiver receiver("127.0.0.1", 0);
  Datagram datagram{"before", "before"};
  EXPECT_FALSE(receiver.Receive(1, &datagram));
  EXPECT_EQ(datagram.bytes, "before");
}

TEST(DatagramReceiver, SaysThatThePortIsBusy) {
  const DatagramReceiver first("127.0.0.1", 0);
  EXPECT_EQ(ReasonOf("127.0.0.1", first.Port()), "another program uses this port");
}

TEST(DatagramReceiver, SaysThatTheAddressIsNone) {
  for (const char* address : {"", "localhost", "127.0.0", "1.2.3.4.5", "1.2.3.256", "::1"}) {
    EXPECT_EQ(ReasonOf(address, 0), "this is no dotted IPv4 address") << address;
  }
}

TEST(DatagramReceiver, ListensOnAllAddresses) {
  DatagramReceiver receiver("0.0.0.0", 0);
  CSocketStream stream(ParameterFor(receiver).c_str());
  stream.Write("x");
  Datagram datagram;
  ASSERT_TRUE(receiver.Receive(kLong, &datagram));
  EXPECT_EQ(datagram.bytes, "x");
}

}  // namespace
}  // namespace tools::system
