#include "orvik/Output/Question.h"

#include <fmt/format.h>

#include "Platform/Files/SecretFile.h"
#include "Platform/Locale/Text.h"
#include "Platform/Terminal/HiddenTyping.h"
#include "Platform/Terminal/StandardStreams.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host::question {

namespace streams = platform::standardStreams;

namespace {

constexpr std::size_t longestAnswer = 4096;  // bytes; a terminal gives no longer line

}  // namespace

bool canAsk() { return streams::inputIsTerminal() && streams::errorIsTerminal(); }

std::string ask(const std::string& text, const std::stop_token& stop) {
  remarks::write(oneLine(text) + " ");
  const auto line = platform::files::readLineSecretly(streams::input(), longestAnswer, "the answer", stop);
  return std::string(platform::locale::trimmed(line.reveal()));
}

platform::SecretString askForSecret(const std::string& text, const std::stop_token& stop) {
  // Ahead of the question: who reads it may type at once.
  const platform::HiddenTyping hidden;
  remarks::write(oneLine(text) + " ");
  return platform::files::readLineSecretly(streams::input(), longestAnswer, "the answer", stop);
}

bool confirms(const std::string& text, const std::stop_token& stop) {
  const auto answer = platform::locale::lowercased(ask(text + " [y/N]", stop));
  return answer == "y" || answer == "yes";
}

bool agrees(bool yes, std::string_view what, const std::string& text, const std::stop_token& stop) {
  if (yes) return true;
  if (!canAsk()) throw UsageError(fmt::format("Without a terminal, --yes is needed to remove {}.", what));
  return confirms(text, stop);
}

}  // namespace orvik::host::question
