#include "orvik/Output/Report.h"

#include <utility>

#include "orvik/ExitStatus.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host {

using platform::json::Value;

Report::Report(const OutputArguments& form, Results& results)
    : form_(form), results_(results), paint_(!form.json && wantsColours(Stream::output)) {}

void Report::note(const std::string& text) const {
  if (form_.quiet) return;
  if (form_.json)
    record(Value::object({{"event", "note"}, {"text", text}}));
  else
    remarks::line(oneLine(text));
}

void Report::text(const std::string& lines) const {
  if (!form_.json) results_.line(lines);
}

void Report::record(const Value& json) const {
  if (form_.json) results_.line(jsonLine(json));
}

void Report::lines(const std::vector<std::string>& text, const std::vector<Value>& json) const {
  for (const auto& line : text) this->text(line);
  for (const auto& line : json) record(line);
}

void Report::event(const std::string& name, Value members) const {
  auto line = Value::object({{"event", name}});
  for (auto& [key, value] : *members.object_()) line.set(key, std::move(value));
  record(line);
}

void Report::finished(const std::string& text, Value json) const {
  this->text(text);
  event("finished", std::move(json));
}

void Report::requireReader() const {
  if (results_.readerLeft()) throw ReaderLeft();
}

std::unique_ptr<ProgressView> Report::view(Verbosity verbosity) const {
  return makeProgressView(form_.json ? OutputForm::jsonLines : OutputForm::text,
                          form_.quiet ? Verbosity::quiet : verbosity, results_);
}

}  // namespace orvik::host
