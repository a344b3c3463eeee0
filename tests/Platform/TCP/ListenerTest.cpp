#include "Platform/TCP/Listener.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>

#include "Platform/Error.h"

namespace platform {
namespace {

/// A plain client socket; -1 when the connection is refused.
int connectTo(std::uint16_t port) {
  const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return client;
  ::close(client);
  return -1;
}

struct Pair {
  TCPListener listener;
  int client = connectTo(listener.port());
  std::unique_ptr<TCPConnection> server = listener.accept();
  ~Pair() {
    if (client >= 0) ::close(client);
  }
};

TEST(TCPListener, PortZeroTakesAFreePort) {
  const TCPListener first;
  const TCPListener second;
  EXPECT_NE(first.port(), 0);
  EXPECT_NE(first.port(), second.port());
}

TEST(TCPListener, ATakenPortIsRefusedWithItsNumber) {
  const TCPListener first;
  try {
    const TCPListener second(first.port());
    FAIL() << "two listeners on one port";
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), "Can't listen on port " + std::to_string(first.port()) +
                                       " of 127.0.0.1: Address already in use");
  }
}

TEST(TCPListener, BytesPassBothWays) {
  Pair pair;
  ASSERT_TRUE(pair.server);
  ASSERT_EQ(::send(pair.client, "ping", 4, 0), 4);
  Bytes received = "kept ";
  while (received.size() < 9) ASSERT_TRUE(pair.server->read(received));
  EXPECT_EQ(received, "kept ping");

  EXPECT_TRUE(pair.server->write("pong"));
  char answer[4] = {};
  ASSERT_EQ(::recv(pair.client, answer, 4, MSG_WAITALL), 4);
  EXPECT_EQ(std::string_view(answer, 4), "pong");
}

TEST(TCPListener, ReadTakesNoMoreThanAskedFor) {
  Pair pair;
  ASSERT_EQ(::send(pair.client, "abcdef", 6, 0), 6);
  Bytes received;
  ASSERT_TRUE(pair.server->read(received, 2));
  EXPECT_EQ(received, "ab");
  ASSERT_TRUE(pair.server->read(received, 1));
  EXPECT_EQ(received, "abc");
}

TEST(TCPListener, ReadIsFalseAtTheEnd) {
  Pair pair;
  ::shutdown(pair.client, SHUT_WR);
  Bytes received;
  EXPECT_FALSE(pair.server->read(received));
  EXPECT_TRUE(received.empty());
}

TEST(TCPListener, WritingToAPeerThatHasGoneIsFalseAndNoSignal) {
  Pair pair;
  ::close(pair.client);
  pair.client = -1;
  const std::string block(1 << 16, 'x');
  bool alive = true;
  for (int i = 0; i < 100 && alive; ++i) alive = pair.server->write(block);
  EXPECT_FALSE(alive);
}

TEST(TCPListener, ABigWriteArrivesWhole) {
  Pair pair;
  const std::string sent(3 << 20, 'y');
  std::jthread writer([&] {
    EXPECT_TRUE(pair.server->write(sent));
    pair.server->shutdown();
  });
  std::size_t received = 0;
  std::string block(1 << 16, '\0');
  for (ssize_t count = 0; (count = ::recv(pair.client, block.data(), block.size(), 0)) > 0;)
    received += static_cast<std::size_t>(count);
  EXPECT_EQ(received, sent.size());
}

TEST(TCPListener, ShutdownFromAnotherThreadEndsABlockedRead) {
  Pair pair;
  std::jthread other([&] { pair.server->shutdown(); });
  Bytes received;
  EXPECT_FALSE(pair.server->read(received));
}

TEST(TCPListener, ResetReachesThePeerAsAReset) {
  Pair pair;
  pair.server->reset();
  char byte = 0;
  EXPECT_EQ(::recv(pair.client, &byte, 1, 0), -1);
  EXPECT_EQ(errno, ECONNRESET);
}

TEST(TCPListener, CloseEndsAWaitingAcceptAndAllLaterOnes) {
  TCPListener listener;
  std::jthread closer([&] { listener.close(); });
  EXPECT_EQ(listener.accept(), nullptr);
  closer.join();
  EXPECT_EQ(listener.accept(), nullptr);
}

TEST(TCPListener, CloseRefusesFurtherConnections) {
  TCPListener listener;
  listener.close();
  EXPECT_EQ(connectTo(listener.port()), -1);
}

TEST(TCPListener, APortIsFreeAgainRightAfterAServerWithConnections) {
  std::uint16_t port = 0;
  {
    Pair pair;
    port = pair.listener.port();
    ASSERT_TRUE(pair.server->write("bye"));
    pair.server.reset();  // the server's end closes first and keeps the address waiting
  }
  EXPECT_NO_THROW(const TCPListener again(port));
}

}  // namespace
}  // namespace platform
