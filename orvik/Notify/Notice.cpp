#include "orvik/Notify/Notice.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/HTTP/URL.h"
#include "Platform/Process/CapturedProcess.h"
#include "Platform/Process/ChildProcess.h"
#include "TuvCore/Error.h"
#include "orvik/Backup/InstanceBackup.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/Output.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"
#include "orvik/Server/ServerClient.h"

namespace orvik::host {

namespace {

void shareFailure(std::vector<RoundEntry>& round, const Failure& failure) {
  for (auto& entry : round)
    if (!entry.outcome && !entry.tooSoon && !entry.failure) entry.failure = failure;
}

/// For scripts that read no JSON. No option of ours is called so, whose variable these could be.
std::vector<std::string> variablesFor(const RunEnd& end) {
  auto variables = platform::environmentForPrograms();
  variables.push_back(fmt::format("ORVIK_RUN_OUTCOME={}", end.outcome()));
  variables.push_back(fmt::format("ORVIK_RUN_EXIT={}", static_cast<int>(end.status)));
  variables.push_back(fmt::format("ORVIK_RUN_MESSAGE={}", end.sentence()));
  return variables;
}

}  // namespace

ExitStatus Notice::after(const Run& run) const {
  RunEnd end;
  end.startedAt = platform::now();
  try {
    end.status = run(end.round);
  } catch (const TooSoonError&) {
    throw;
  } catch (...) {
    end.failure = describe(std::current_exception());
    end.status = end.failure->status;
    shareFailure(end.round, *end.failure);
    end.finishedAt = platform::now();
    tell(end);
    throw;
  }
  end.finishedAt = platform::now();
  tell(end);
  return end.status;
}

void Notice::tell(const RunEnd& end) const {
  if (!end.isNews()) return;
  if (arguments_.notify.command) attempt(&Notice::runCommand, end);
  if (arguments_.notify.url) attempt(&Notice::post, end);
}

void Notice::attempt(void (Notice::*telling)(const RunEnd&) const, const RunEnd& end) const {
  std::string problem;
  try {
    (this->*telling)(end);
    return;
  } catch (const platform::CancellationError&) {
    problem = "it was cancelled";
  } catch (const tuv::Error& error) {
    problem = error.description();
    if (problem.ends_with('.')) problem.pop_back();
  }
  const auto* who = telling == &Notice::post ? "address of --notify-url" : "command of --notify-command";
  if (!arguments_.quiet)
    remarks::line(oneLine(fmt::format("The {} was not told how the run ended: {}.", who, problem)));
}

/// The command itself may hold a password, so no message repeats it; nor what it prints.
void Notice::runCommand(const RunEnd& end) const {
  platform::CapturedProcess process;
  process.path = "/bin/sh";
  process.arguments = {"-c", *arguments_.notify.command};
  process.environment = variablesFor(end);
  process.timeout = patience_;
  process.input = jsonLine(end.json()) + "\n";
  const auto [status, timedOut] = process.run([](std::string_view, bool) {}, stop_);
  if (timedOut) throw tuv::Error("it took more than " + wording::duration(patience_) + " and was ended");
  if (status != 0) throw tuv::Error(fmt::format("it failed with status {}", status));
}

/// The address may hold a secret, so messages name its host alone.
void Notice::post(const RunEnd& end) const {
  platform::HTTPSessionConfiguration configuration;
  configuration.totalTimeout = patience_;
  configuration.userAgent = "orvik/" ORVIK_VERSION;
  platform::HTTPSession session(withTrustAnchors(std::move(configuration), arguments_.caFile));
  platform::HTTPRequest request;
  request.method = "POST";
  request.url = *arguments_.notify.url;
  request.headers = {{"Content-Type", "application/json"}};
  request.body = jsonLine(end.json()) + "\n";
  const auto answer = session.data(std::move(request), stop_);
  if (answer.status < 200 || answer.status > 299)
    throw tuv::Error(fmt::format("{} answered with status {}",
                                 platform::URL::parse(*arguments_.notify.url)->host, answer.status));
}

}  // namespace orvik::host
