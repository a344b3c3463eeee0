#include "orvik/Output/Output.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Platform/Terminal/StandardStreams.h"
#include "TuvCore/Error.h"

namespace orvik::host {

namespace streams = platform::standardStreams;

Results::Results() : Results(streams::writeOutput) {}

void Results::line(std::string_view text) {
  const std::string whole = std::string(text) + "\n";
  errorNumber_.withLock([&](int& number) {
    if (number == 0) number = write_(whole);
  });
}

void Results::requireWritten() const {
  if (const int number = errorNumber_.value())
    throw tuv::Error(std::string("Can't write to standard output: ") + std::strerror(number));
}

bool Results::readerLeft() const { return errorNumber_.value() == EPIPE; }

namespace remarks {

void write(std::string_view text) noexcept { streams::writeError(text); }

void line(std::string_view text) noexcept {
  std::string whole(text);
  whole += '\n';
  write(whole);
}

std::size_t width() {
  const auto columns = streams::errorWidth();
  return columns == 0 ? 80 : columns;
}

}  // namespace remarks

Screen screenBehind(Stream stream) {
  if (!(stream == Stream::output ? streams::outputIsTerminal() : streams::errorIsTerminal()))
    return Screen::none;
  const char* kind = std::getenv("TERM");
  return kind == nullptr || *kind == '\0' || std::strcmp(kind, "dumb") == 0 ? Screen::dumb : Screen::terminal;
}

bool wantsColours(Stream stream) {
  const char* refusal = std::getenv("NO_COLOR");
  return screenBehind(stream) == Screen::terminal && (refusal == nullptr || *refusal == '\0');
}

}  // namespace orvik::host
