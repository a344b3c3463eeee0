#include "orvik/Output/ProgressView.h"

#include "orvik/Output/JSONProgress.h"
#include "orvik/Output/PlainProgress.h"
#include "orvik/Output/TerminalProgress.h"

namespace orvik::host {

std::unique_ptr<ProgressView> makeProgressView(OutputForm form, Verbosity verbosity, Results& results) {
  if (form == OutputForm::jsonLines) return std::make_unique<JSONProgress>(verbosity, results);
  if (verbosity == Verbosity::quiet) return std::make_unique<ProgressView>();
  if (screenBehind(Stream::error) == Screen::terminal) return std::make_unique<TerminalProgress>(verbosity);
  return std::make_unique<PlainProgress>(verbosity);
}

}  // namespace orvik::host
