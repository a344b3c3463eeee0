#include "orvik/SampleServerCommand.h"

#include <fmt/format.h>

#include <chrono>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/JSON/Value.h"
#include "SampleServer/SampleServer.h"

namespace orvik::host {

namespace files = platform::files;

ExitStatus sampleServer(const SampleServerArguments& arguments, Results& results,
                        const std::stop_token& stop) {
  sample::SampleOptions options;
  options.size = *sample::parseFleetSize(arguments.fleet);
  options.seed = arguments.seed;
  options.port = arguments.port;
  options.log = sample::LogDetail::totals;
  const sample::SampleServer server(options);
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

  while (true) platform::sleep(std::chrono::hours(1), stop);
}

}  // namespace orvik::host
