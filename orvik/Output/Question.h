#pragma once

#include <stop_token>
#include <string>
#include <string_view>

#include "Platform/SecretString.h"

/// Questions to a person at a terminal. They go to standard error, the answers come from standard input.
namespace orvik::host::question {

/// Whether there is somebody to ask: both streams are a terminal.
bool canAsk();

/// The line that is typed, without white space around it; empty at the end of the input. Throws
/// `platform::CancellationError` on a stop.
std::string ask(const std::string& text, const std::stop_token& stop);

/// The line that is typed, which the terminal does not show. Throws the same.
platform::SecretString askForSecret(const std::string& text, const std::stop_token& stop);

/// Whether the answer is "y" or "yes", in any case.
bool confirms(const std::string& text, const std::stop_token& stop);

/// The same for a removal that `--yes` agrees to. Throws `UsageError` where there is nobody to ask; `what` is
/// "an instance".
bool agrees(bool yes, std::string_view what, const std::string& text, const std::stop_token& stop);

}  // namespace orvik::host::question
