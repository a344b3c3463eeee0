#include "orvik/Settings/ConfigCommands.h"

#include <fmt/format.h>

#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/TextTable.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Shown = Settings::Shown;

std::string originText(const Shown& setting) {
  return setting.variable.empty() ? std::string(textOf(setting.origin))
                                  : fmt::format("{} {}", textOf(setting.origin), setting.variable);
}

Value jsonOf(const Shown& setting) {
  auto line = Value::object({{"event", "setting"},
                             {"name", setting.name},
                             {"option", setting.option},
                             {"value", setting.value},
                             {"origin", textOf(setting.origin)}});
  if (!setting.variable.empty()) line.set("variable", setting.variable);
  return line;
}

}  // namespace

ExitStatus showSettings(const ShowSettingsArguments& arguments, const Settings& settings, Results& results) {
  const auto all = settings.shown();
  TextTable table({{"SETTING"}, {"OPTION"}, {"FROM"}, {"VALUE"}});
  for (const auto& each : all) {
    if (arguments.json) results.line(jsonLine(jsonOf(each)));
    table.add({each.name, each.option, originText(each), each.value.empty() ? "–" : each.value});
    if (!arguments.quiet)
      for (const auto& sentence : each.ignored) remarks::line(sentence);
  }
  if (!arguments.json)
    for (const auto& line : table.lines(Paint(wantsColours(Stream::output)))) results.line(line);
  if (results.readerLeft()) throw ReaderLeft();
  return ExitStatus::done;
}

ExitStatus chooseSetting(const ChooseSettingArguments& arguments, Settings& settings) {
  if (arguments.value)
    settings.choose(arguments.name, *arguments.value);
  else
    settings.takeBack(arguments.name);
  return ExitStatus::done;
}

}  // namespace orvik::host
