#include "platform/sockets.h"

#include <winsock2.h>

#include <gtest/gtest.h>

namespace {

TEST(Sockets, AreNotInheritedByChildProcesses) {
  ASSERT_EQ(platform::sockets.WSAStartup(0x0202), 0);
  const platform::Socket made =
      platform::sockets.CreateSocket(platform::kAddressFamilyInet, platform::kSocketDatagram, 0);
  ASSERT_NE(made, platform::kInvalidSocket);
  DWORD flags = HANDLE_FLAG_INHERIT;
  EXPECT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(made), &flags));
  EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
  platform::sockets.CloseSocket(made);
}

}  // namespace
