#include "orvik/Report.h"

#include <utility>

#include "orvik/ExitStatus.h"
#include "orvik/JSONRecord.h"
#include "orvik/VisibleText.h"

namespace orvik::host {

using platform::json::Value;

Report::Report(const FolderArguments& at, Results& results)
    : at_(at), results_(results), paint_(!at.json && wantsColours(Stream::output)) {}

void Report::note(const std::string& text) const {
  if (at_.quiet) return;
  if (at_.json)
    record(Value::object({{"event", "note"}, {"text", text}}));
  else
    remarks::line(oneLine(text));
}

void Report::text(const std::string& lines) const {
  if (!at_.json) results_.line(lines);
}

void Report::record(const Value& json) const {
  if (at_.json) results_.line(jsonLine(json));
}

void Report::lines(const std::vector<std::string>& text, const std::vector<Value>& json) const {
  for (const auto& line : text) this->text(line);
  for (const auto& line : json) record(line);
}

void Report::finished(const std::string& text, Value json) const {
  this->text(text);
  auto line = Value::object({{"event", "finished"}});
  for (auto& [name, value] : *json.object_()) line.set(name, std::move(value));
  record(line);
}

void Report::requireReader() const {
  if (results_.readerLeft()) throw ReaderLeft();
}

std::unique_ptr<ProgressView> Report::view(Verbosity verbosity) const {
  return makeProgressView(at_.json ? OutputForm::jsonLines : OutputForm::text,
                          at_.quiet ? Verbosity::quiet : verbosity, results_);
}

}  // namespace orvik::host
