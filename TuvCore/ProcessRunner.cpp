#include "TuvCore/ProcessRunner.h"

#include "Platform/Locale/UTF8.h"
#include "Platform/Process/CapturedProcess.h"

namespace tuv {

ProcessRunnerError ProcessRunnerError::launchFailed(std::string_view text) {
  return ProcessRunnerError("Failed to launch: " + std::string(text));
}

void OutputCollector::append(std::string_view data, bool isError) {
  streams_.withLock([&](Streams& streams) {
    auto& stream = isError ? streams.err : streams.out;
    stream.append(data.substr(0, limit_ - stream.size()));
  });
}

std::pair<std::string, std::string> OutputCollector::strings() const {
  return streams_.withLock([](const Streams& streams) {
    return std::pair(platform::locale::wellFormed(streams.out), platform::locale::wellFormed(streams.err));
  });
}

ProcessOutput ProcessRunner::run(const std::string& path, const std::vector<std::string>& arguments,
                                 const std::optional<Environment>& environment,
                                 std::chrono::milliseconds timeout, std::size_t outputLimit,
                                 const std::stop_token& stop) {
  platform::CapturedProcess process{path, arguments, std::nullopt, timeout};
  if (environment) {
    auto& variables = process.environment.emplace();
    for (const auto& [name, value] : *environment) variables.push_back(name + "=" + value);
  }
  OutputCollector collector(outputLimit);
  try {
    const auto end =
        process.run([&](std::string_view piece, bool isError) { collector.append(piece, isError); }, stop);
    auto [out, err] = collector.strings();
    return {end.status, std::move(out), std::move(err), end.timedOut};
  } catch (const platform::Error& error) {
    throw ProcessRunnerError::launchFailed(path + ": " + error.description());
  }
}

}  // namespace tuv
