#include "orvik/Samples/SampleServerCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/JSON/Value.h"
#include "SampleServer/SampleServer.h"
#include "orvik/Doctor/PrivilegeTicks.h"

namespace orvik::host {

namespace files = platform::files;

namespace {

/// Tells what the server was asked, once it is stopped: who ran something against it sees whether that wrote.
void tellRequests(sample::RequestLog& log, const SampleServerArguments& arguments, Results& results) {
  const auto tokens = log.count("api/oauth/token") + log.count("api/v1/oauth/token");
  const auto writing = log.notGet() - std::min(tokens, log.notGet());
  if (arguments.json) {
    results.line(platform::json::Value::object(
                     {{"requests", log.total()}, {"tokenRequests", tokens}, {"writingRequests", writing}})
                     .text());
  } else if (!arguments.quiet) {
    remarks::line(
        fmt::format("{} requests came: {} for a token, {} that write.", log.total(), tokens, writing));
  }
}

}  // namespace

ExitStatus sampleServer(const SampleServerArguments& arguments, Results& results,
                        const std::stop_token& stop) {
  sample::SampleOptions options;
  options.size = *sample::parseFleetSize(arguments.fleet);
  options.seed = arguments.seed;
  options.port = arguments.port;
  options.privileges = privilegesForBackup();
  options.log = sample::LogDetail::paths;
  sample::SampleServer server(options);
  const files::TempFolder folder("orvik-sample-server");
  const auto secretFile = (folder / "client-secret").string();
  files::writeSecretFile(secretFile, platform::SecretString(server.clientSecret() + "\n"));

  if (arguments.json) {
    using platform::json::Value;
    results.line(
        Value::object({{"url", server.url()}, {"clientID", server.clientID()}, {"secretFile", secretFile}})
            .text());
  } else {
    results.line("URL          " + server.url());
    results.line("Client ID    " + server.clientID());
    results.line("Secret file  " + secretFile);
  }
  results.requireWritten();
  if (!arguments.quiet)
    remarks::line(fmt::format("{} objects are served until this program is stopped.", server.objectCount()));

  try {
    while (true) platform::sleep(std::chrono::hours(1), stop);
  } catch (const platform::CancellationError&) {
    tellRequests(server.log(), arguments, results);
    throw;
  }
}

}  // namespace orvik::host
