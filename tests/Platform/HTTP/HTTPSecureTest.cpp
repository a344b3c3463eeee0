#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <thread>

#include "Platform/Files/Files.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/TCP/Listener.h"
#include "tests/Platform/HTTP/HTTPTesting.h"

namespace platform {
namespace {

using test::failure;
using test::request;

/// A TLS server with a certificate for "secure.example" that only its own authority vouches for.
class SecureServer {
 public:
  SecureServer() {
    makeCertificate();
    std::array<int, 2> output{};
    if (::pipe2(output.data(), O_CLOEXEC) != 0) return;
    const std::string certificate = certificatePath(), key = keyPath();
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(output[1], STDOUT_FILENO);
      ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
      ::execlp("openssl", "openssl", "s_server", "-accept", "127.0.0.1:0", "-www", "-cert",
               certificate.c_str(), "-key", key.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::close(output[1]);
    readPort(output[0]);
    output_ = output[0];
  }
  ~SecureServer() {
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      ::waitpid(process_, nullptr, 0);
    }
    if (output_ >= 0) ::close(output_);
  }

  std::string certificatePath() const { return folder_ / "certificate.pem"; }
  std::string address() const { return "127.0.0.1:" + port_; }
  bool runs() const { return !port_.empty(); }

 private:
  std::string keyPath() const { return folder_ / "key.pem"; }

  void makeCertificate() const {
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
        "-subj '/CN=Test authority' -addext subjectAltName=DNS:secure.example -keyout " +
        keyPath() + " -out " + certificatePath() + " 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }

  /// The server says "ACCEPT 127.0.0.1:port" once it listens.
  void readPort(int output) {
    std::string text;
    char byte = 0;
    while (::read(output, &byte, 1) == 1) {
      text += byte;
      if (byte != '\n') continue;
      if (text.starts_with("ACCEPT ")) {
        port_ = text.substr(text.rfind(':') + 1);
        port_.pop_back();
        return;
      }
      text.clear();
    }
  }

  files::TempFolder folder_;
  pid_t process_ = -1;
  int output_ = -1;
  std::string port_;
};

HTTPSessionConfiguration configurationFor(const SecureServer& server, const std::string& host) {
  HTTPSessionConfiguration configuration;
  configuration.connectTo = {{host + ":443", server.address()}};
  return configuration;
}

TEST(HTTPSecure, ACertificateThatNobodyVouchesForIsNotTrusted) {
  const SecureServer server;
  ASSERT_TRUE(server.runs());
  HTTPSession session(configurationFor(server, "secure.example"));
  const auto error = failure(session, request("https://secure.example/?hidden"));
  EXPECT_EQ(error.kind(), HTTPErrorKind::cannotConnect);
  EXPECT_TRUE(error.description().starts_with("The certificate of secure.example is not trusted: self"))
      << error.description();
  EXPECT_EQ(error.description().find("hidden"), std::string::npos);
}

TEST(HTTPSecure, AnExtraTrustAnchorVouchesForIt) {
  const SecureServer server;
  ASSERT_TRUE(server.runs());
  auto configuration = configurationFor(server, "secure.example");
  configuration.extraTrustAnchors = server.certificatePath();
  HTTPSession session(configuration);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(session.data(request("https://secure.example/")).status, 200);
}

TEST(HTTPSecure, ACertificateOfAnotherNameIsNotTrusted) {
  const SecureServer server;
  ASSERT_TRUE(server.runs());
  auto configuration = configurationFor(server, "other.example");
  configuration.extraTrustAnchors = server.certificatePath();
  HTTPSession session(configuration);
  const auto error = failure(session, request("https://other.example/"));
  EXPECT_EQ(error.kind(), HTTPErrorKind::cannotConnect);
  EXPECT_TRUE(error.description().starts_with("The certificate of other.example is not trusted"))
      << error.description();
}

TEST(HTTPSecure, TrustAnchorsThatCantBeReadAreTold) {
  const SecureServer server;
  ASSERT_TRUE(server.runs());
  auto configuration = configurationFor(server, "secure.example");
  configuration.extraTrustAnchors = server.certificatePath() + ".missing";
  HTTPSession session(configuration);
  const auto error = failure(session, request("https://secure.example/"));
  EXPECT_EQ(error.kind(), HTTPErrorKind::cannotConnect);
  EXPECT_EQ(error.description(), "The trust anchors for secure.example can't be read");
}

TEST(HTTPSecure, APlainServerIsNoSecureOne) {
  TCPListener server;
  std::jthread plain([&] {
    const auto connection = server.accept();
    Bytes greeting;
    if (connection && connection->read(greeting)) connection->write("HTTP/1.1 400 Bad Request\r\n\r\n");
  });
  const std::string address = "127.0.0.1:" + std::to_string(server.port());
  HTTPSession session;
  const auto error = failure(session, request("https://" + address + "/"));
  EXPECT_EQ(error.kind(), HTTPErrorKind::cannotConnect);
  EXPECT_EQ(error.description(), "Could not make a secure connection to " + address);
}

}  // namespace
}  // namespace platform
