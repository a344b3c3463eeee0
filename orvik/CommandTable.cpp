#include "orvik/CommandTable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "orvik/CommandLine/Commands.h"
#include "orvik/CommandLine/Options.h"
#include "orvik/Environment.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/NearNames.h"

namespace orvik::host {

namespace {

using commandLine::Command;

/// Two options of which one is enough: naming either leaves the variable of the other out of account.
constexpr std::array<std::pair<std::string_view, std::string_view>, 10> alternatives{
    {{"secret-file", "secret-command"},
     {"instance", "url"},
     {"instance", "client-id"},
     {"instance", "name"},
     {"all", "instance"},
     {"all", "url"},
     {"all", "client-id"},
     {"all", "secret-file"},
     {"all", "secret-command"},
     {"at", "in"}}};

/// Options that only a person at the command line can mean.
constexpr std::array<std::string_view, 3> withoutVariable{"help", "yes", "force"};

bool contains(const auto& names, std::string_view name) {
  return std::ranges::find(names, name) != std::ranges::end(names);
}

class CommandTable {
 public:
  /// `settings` may be null.
  explicit CommandTable(const Settings* settings)
      : settings_(settings),
        app_("Reads the configuration of Jamf Pro servers and keeps it in a folder.", "orvik") {
    app_.set_version_flag("--version", "orvik " ORVIK_VERSION);
    // Behind a command's name stands no other: what looks like one is an argument, such as a text to search.
    app_.require_subcommand(0, 1);
    app_.footer("orvik COMMAND --help explains a command with an example.");
    commandLine::addBackup(app_, commands_);
    commandLine::addSimulate(app_, commands_);
    commandLine::addInstances(app_, commands_);
    commandLine::addOrgs(app_, commands_);
    commandLine::addPlaybook(app_, commands_);
    commandLine::addRelations(app_, commands_);
    commandLine::addServerFiles(app_, commands_);
    commandLine::addMCP(app_, commands_);
    commandLine::addFolderCare(app_, commands_);
    commandLine::addHealth(app_, commands_);
    commandLine::addLock(app_, commands_);
    commandLine::addExplore(app_, commands_);
    commandLine::addSchedule(app_, commands_);
    commandLine::addStatus(app_, commands_);
    commandLine::addDoctor(app_, commands_);
    commandLine::addConfig(app_, commands_);
    commandLine::addSamples(app_, commands_);
    commandLine::addDocuments(app_, commands_);
  }

  CommandDescription describe() const { return describe(app_); }

  Invocation parse(const std::vector<std::string>& arguments) {
    if (arguments.empty()) throw UsageError("A command is missing. See orvik --help.");
    const Command* command = commandOf(arguments);
    if (command == nullptr && !arguments.front().starts_with('-'))
      throw UsageError(looksLikeCommand(arguments.front())
                           ? unknownCommand(app_, "", arguments.front())
                           : "The first argument is no command. See orvik --help.");
    const CLI::App& parser = command ? *command->parser : app_;
    const std::string hint = command ? commandLine::nameOf(parser) + " " : "";
    try {
      auto all = command ? withDefaults(*command, arguments) : arguments;
      std::ranges::reverse(all);
      app_.parse(all);
    } catch (const CLI::CallForVersion&) {
      return PrintText{"orvik " ORVIK_VERSION};
    } catch (const CLI::CallForHelp&) {
      return PrintText{withoutLineEnds(parser.help(command ? helpName(parser) : ""))};
    } catch (const CLI::ExtrasError&) {
      throw UsageError(describeExtras(parser, hint));
    } catch (const CLI::ParseError& error) {
      throw UsageError(fmt::format("{}. See orvik {}--help.", error.what(), hint));
    }
    if (command == nullptr) throw UsageError("A command is missing. See orvik --help.");
    return command->invocation();
  }

 private:
  static CommandDescription describe(const CLI::App& command) {
    CommandDescription found{.name = command.get_parent() ? commandLine::nameOf(command) : "",
                             .summary = command.get_description(),
                             .footer = command.get_footer(),
                             .arguments = {},
                             .options = {},
                             .commands = {}};
    for (const CLI::Option* option : command.get_options())
      (option->get_positional() ? found.arguments : found.options).push_back(describe(*option));
    for (const CLI::App* each : commandsBehind(command)) found.commands.push_back(describe(*each));
    return found;
  }

  static std::vector<const CLI::App*> commandsBehind(const CLI::App& parent) {
    return parent.get_subcommands([](const CLI::App*) { return true; });
  }

  static OptionDescription describe(const CLI::Option& option) {
    OptionDescription found{.names = {},
                            .value = option.get_items_expected_max() == 0 ? "" : option.get_type_name(),
                            .defaultValue = option.get_default_str(),
                            .text = option.get_description()};
    for (const auto& name : option.get_snames()) found.names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) found.names.push_back("--" + name);
    // A set of words is shown by the parser as "TEXT:{a,b}".
    if (const auto words = found.value.find(":{"); words != std::string::npos) {
      found.value = found.value.substr(words + 2, found.value.size() - words - 3);
      std::ranges::replace(found.value, ',', '|');
    }
    if (option.get_positional()) found.names = {option.get_name(true)};
    return found;
  }

  /// What stands before a command's own name in its help: "orvik lock".
  static std::string helpName(const CLI::App& parser) {
    const auto name = commandLine::nameOf(parser);
    const auto blank = name.rfind(' ');
    return blank == name.npos ? "orvik" : "orvik " + name.substr(0, blank);
  }

  /// The command that the first arguments name: "lock show" rather than "lock".
  const Command* commandOf(const std::vector<std::string>& arguments) const {
    const Command* found = nullptr;
    std::string name;
    for (const auto& word : arguments) {
      name += (name.empty() ? "" : " ") + word;
      const auto match = std::ranges::find_if(
          commands_, [&](const Command& each) { return commandLine::nameOf(*each.parser) == name; });
      if (match == commands_.end()) break;
      found = &*match;
    }
    return found;
  }

  /// The arguments with an option added for all that they don't say and a variable or a setting does.
  std::vector<std::string> withDefaults(const Command& command, std::vector<std::string> arguments) const {
    // What stands behind "--" is no option, whatever it looks like.
    const auto end = std::ranges::find(arguments, "--");
    const std::vector<std::string> given(arguments.begin(), end);
    std::vector<std::string> added;
    const auto isGiven = [&](std::string_view name) {
      const auto option = fmt::format("--{}", name);
      return std::ranges::any_of(
          given, [&](const auto& each) { return each == option || each.starts_with(option + "="); });
    };
    const auto isSettled = [&](std::string_view name) {
      return isGiven(name) || std::ranges::any_of(alternatives, [&](const auto& pair) {
               return (pair.first == name && isGiven(pair.second)) ||
                      (pair.second == name && isGiven(pair.first));
             });
    };
    for (const CLI::Option* option : command.parser->get_options()) {
      for (const auto& name : option->get_lnames()) {
        if (contains(withoutVariable, name) || isSettled(name)) continue;
        const bool isFlag = option->get_items_expected_max() == 0;
        auto value = environment::value(name);
        if (!value && settings_ != nullptr && !contains(command.withoutSetting, name))
          value = settings_->forOption(name);
        if (!value) continue;
        if (!isFlag) added.push_back(fmt::format("--{}={}", name, *value));
        if (isFlag && environment::flag(name, *value)) added.push_back("--" + name);
      }
    }
    arguments.insert(end, added.begin(), added.end());
    return arguments;
  }

  /// A stray argument may be a secret, so only what could be a command is repeated.
  static bool looksLikeCommand(const std::string& text) {
    return text.size() <= 20 &&
           std::ranges::all_of(text, [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; });
  }

  /// `parent` is the program, or a command that has others behind it; `hint` is what leads to its help.
  static std::string unknownCommand(const CLI::App& parent, const std::string& hint,
                                    const std::string& typed) {
    std::vector<std::string> names;
    for (const CLI::App* each : commandsBehind(parent)) names.push_back(each->get_name());
    return fmt::format("unknown command {}{}{}. See orvik {}--help.", hint, typed, nearIt(typed, names),
                       hint);
  }

  static std::string nearOption(const CLI::App& parser, const std::string& typed) {
    std::vector<std::string> names;
    for (const CLI::Option* option : parser.get_options())
      for (const auto& name : option->get_lnames()) names.push_back("--" + name);
    return nearIt(typed, names);
  }

  static std::string withoutLineEnds(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return text;
  }

  static std::string describeExtras(const CLI::App& parser, const std::string& hint) {
    const auto extras = parser.remaining(true);
    std::vector<std::string> options;
    for (const auto& each : extras)
      if (each.starts_with('-') && each != "-" && each != "--")
        // Behind a short option's letter, or an equals sign, a value may stand.
        options.push_back(each.starts_with("--") ? each.substr(0, each.find('=')) : each.substr(0, 2));
    if (!options.empty())
      return fmt::format("unknown option {}{}. See orvik {}--help.", fmt::join(options, ", "),
                         options.size() == 1 ? nearOption(parser, options.front()) : "", hint);
    if (!commandsBehind(parser).empty() && !extras.empty() && looksLikeCommand(extras.front()))
      return unknownCommand(parser, hint, extras.front());
    return fmt::format("There is an argument too many. See orvik {}--help.", hint);
  }

  const Settings* settings_;
  CLI::App app_;
  commandLine::Commands commands_;
};

}  // namespace

CommandDescription describeCommands() { return CommandTable(nullptr).describe(); }

Invocation parseCommandLine(const std::vector<std::string>& arguments, const Settings* settings) {
  return CommandTable(settings).parse(arguments);
}

bool asksForJSON(const std::vector<std::string>& arguments) {
  const auto end = std::ranges::find(arguments, "--");
  if (std::find(arguments.begin(), end, "--json") != end) return true;
  const auto value = environment::value("json");
  try {
    return value && environment::flag("json", *value);
  } catch (const UsageError&) {
    return false;
  }
}

}  // namespace orvik::host
