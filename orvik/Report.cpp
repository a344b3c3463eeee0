#include "orvik/Report.h"

#include <utility>

#include "orvik/ExitStatus.h"
#include "orvik/JSONRecord.h"
#include "orvik/VisibleText.h"

namespace orvik::host {

using platform::json::Value;

Report::Report(const OutputArguments& output, Results& results)
    : output_(output), results_(results), paint_(!output.json && wantsColours(Stream::output)) {}

void Report::note(const std::string& text) const {
  if (output_.quiet) return;
  if (output_.json)
    record(Value::object({{"event", "note"}, {"text", text}}));
  else
    remarks::line(oneLine(text));
}

void Report::text(const std::string& lines) const {
  if (!output_.json) results_.line(lines);
}

void Report::record(const Value& json) const {
  if (output_.json) results_.line(jsonLine(json));
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
  return makeProgressView(output_.json ? OutputForm::jsonLines : OutputForm::text,
                          output_.quiet ? Verbosity::quiet : verbosity, results_);
}

}  // namespace orvik::host
