#include "orvik/Doctor/ServerExam.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Jamf/PauseGate.h"
#include "OrvikCore/Jamf/RequestLimiter.h"
#include "OrvikCore/Jamf/RequestPipeline.h"
#include "OrvikCore/Jamf/ServerFacts.h"
#include "orvik/Doctor/AnswerWatch.h"
#include "orvik/Doctor/ServerFindings.h"
#include "orvik/Instances/ServerChoice.h"
#include "orvik/Server/ServerClient.h"
#include "orvik/Server/ServerURL.h"

namespace orvik::host {

namespace {

constexpr double firstDelay = 1;     // seconds before a request is repeated
constexpr double longestDelay = 10;  // seconds

constexpr const char* secretAdvice =
    "Make a new client secret on the server, or check the one that was given; see orvik instances add.";
constexpr const char* connectionAdvice =
    "Check the address, the name service, a proxy or firewall on the way and the certificate (--ca-file).";

class ServerExam {
 public:
  ServerExam(const ChosenServer& server, const DoctorArguments& arguments, ProgressView& view,
             const std::stop_token& stop)
      : server_(server), arguments_(arguments), view_(view), stop_(stop) {}

  Examination run(platform::SecretString environmentSecret) {
    addTransport();
    try {
      auto secret = chosenSecret(server_, arguments_.server, std::move(environmentSecret), stop_);
      const auto source = std::move(secret.source);
      const auto client = makeWatchedClient(
          url_, server_.config.clientID, std::move(secret.provider), arguments_.caFile,
          [this](const auto& endpoint, const auto& answer) { watch_.see(endpoint, answer); });
      examine(client, source);
    } catch (const CredentialError& error) {
      fail(Check::failed("credentials", error.description(), ""), ExitStatus::credential);
    } catch (const BackupEngineError& error) {
      cannotConnect(error);
    }
    return std::move(found_);
  }

 private:
  void add(Check check) { found_.checks.push_back(std::move(check)); }
  void fail(Check check, ExitStatus obstacle) {
    add(std::move(check));
    found_.obstacle = obstacle;
  }

  void addTransport() {
    if (const auto remark = clearTextRemark(url_))
      add(Check::warning("transport", *remark, "Use the server's https address."));
    else if (url_.scheme == "https")
      add(Check::ok("transport", "The connection is encrypted."));
  }

  /// Through the same stations as a backup's reads, so that the server is not asked faster.
  void examine(const ServerClient& client, const std::string& secretSource) {
    RequestLimiter limiter(arguments_.concurrency, arguments_.rate);
    const PauseGate gate;
    RequestPipeline pipeline(*client.requests, limiter, gate, {arguments_.attempts, firstDelay, longestDelay},
                             nullptr, [this](const std::string& text) { view_.remark(text); });
    ServerFindings findings;
    view_.step("Connecting to " + url_.text());
    findings.version = ServerFacts::version(pipeline, stop_);
    findings.tokenLifetime = client.tokens->lifetime();
    add(Check::ok("connection", fmt::format("The server answers at {}.", url_.text())));
    add(Check::ok("credentials", fmt::format("It takes the client {}, whose secret came from {}.",
                                             server_.config.clientID, secretSource)));
    findings.privileges = ServerFacts::privileges(pipeline, stop_);
    view_.step("Asking for every section");
    findings.probes = probeSections(
        pipeline, watch_, static_cast<std::size_t>(arguments_.concurrency),
        [this](std::size_t done, std::size_t total) { view_.progress(done, total); }, stop_);
    findings.clockDifference = watch_.clockDifference();
    for (auto& check : findings.checks()) {
      // Nothing can be read: a backup would be published and empty, which helps nobody.
      if (check.status == Check::Status::failed) found_.obstacle = ExitStatus::failed;
      add(std::move(check));
    }
  }

  void cannotConnect(const BackupEngineError& error) {
    if (error.credential() == BackupEngineError::Credential::refused) {
      add(Check::ok("connection", fmt::format("The server answers at {}.", url_.text())));
      fail(Check::failed("credentials", error.description(), secretAdvice), ExitStatus::credential);
    } else {
      fail(Check::failed("connection", error.description(), connectionAdvice), ExitStatus::failed);
    }
  }

  const ChosenServer& server_;
  const DoctorArguments& arguments_;
  ProgressView& view_;
  const std::stop_token& stop_;
  const platform::URL url_ = *server_.config.normalizedURL();
  AnswerWatch watch_;
  Examination found_;
};

}  // namespace

Examination examineServer(const ChosenServer& server, const DoctorArguments& arguments,
                          platform::SecretString environmentSecret, ProgressView& view,
                          const std::stop_token& stop) {
  return ServerExam(server, arguments, view, stop).run(std::move(environmentSecret));
}

}  // namespace orvik::host
