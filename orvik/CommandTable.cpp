#include "orvik/CommandTable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>

#include "SampleServer/FleetSize.h"
#include "orvik/Environment.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

namespace {

/// An option that scripts will use and this version can't serve. Ignoring it would be a lie.
struct LaterOption {
  enum class Form { flag, value };
  const char* name;
  Form form;
  const char* reason;
};

constexpr std::array laterOptions{
    LaterOption{"--instance", LaterOption::Form::value,
                "stored instances come later; name the server with --url and --client-id"},
    LaterOption{"--staging", LaterOption::Form::value, "staging comes later"},
    LaterOption{"--keep", LaterOption::Form::value, "retention comes later"},
    LaterOption{"--keep-days", LaterOption::Form::value, "retention comes later"},
    LaterOption{"--mount", LaterOption::Form::value, "package files come later"},
    LaterOption{"--downloads", LaterOption::Form::value, "package files come later"},
    LaterOption{"--full-refresh", LaterOption::Form::flag, "device records come later"},
    LaterOption{"--classic-devices", LaterOption::Form::flag, "device records come later"},
};

/// Two options of which one is enough: naming either leaves the variable of the other out of account.
constexpr std::array<std::pair<std::string_view, std::string_view>, 1> alternatives{
    {{"secret-file", "secret-command"}}};

constexpr double aYear = 365.0 * 24 * 3600;

/// Spelled out, since the ready-made check lets "nan" through.
CLI::Validator within(double low, double high) {
  return CLI::Validator(
      [low, high](std::string& text) {
        double number = 0;
        if (CLI::detail::lexical_cast(text, number) && number >= low && number <= high) return std::string();
        return fmt::format("{} is no number from {} to {}", text, low, high);
      },
      "");
}

class CommandTable {
 public:
  CommandTable() : app_("Reads the configuration of Jamf Pro servers and keeps it in a folder.", "orvik") {
    app_.set_version_flag("--version", "orvik " ORVIK_VERSION);
    app_.footer("orvik COMMAND --help explains a command with an example.");
    defineBackup();
    defineDemo();
    defineSampleServer();
  }

  Invocation parse(const std::vector<std::string>& arguments) {
    if (arguments.empty()) throw UsageError("A command is missing. See orvik --help.");
    CLI::App* command = commandNamed(arguments.front());
    if (command == nullptr && !arguments.front().starts_with('-'))
      throw UsageError(looksLikeCommand(arguments.front())
                           ? "unknown command " + arguments.front() + ". See orvik --help."
                           : "The first argument is no command. See orvik --help.");
    try {
      auto all = command ? withEnvironment(*command, arguments) : arguments;
      std::ranges::reverse(all);
      app_.parse(all);
    } catch (const CLI::CallForVersion&) {
      return PrintText{"orvik " ORVIK_VERSION};
    } catch (const CLI::CallForHelp&) {
      return PrintText{withoutLineEnds(command ? command->help("orvik") : app_.help())};
    } catch (const CLI::ExtrasError&) {
      throw UsageError(describeExtras(command ? *command : app_));
    } catch (const CLI::ParseError& error) {
      throw UsageError(
          fmt::format("{}. See orvik {}--help.", error.what(), command ? command->get_name() + " " : ""));
    }
    if (command == nullptr) throw UsageError("A command is missing. See orvik --help.");
    return invocationOf(*command);
  }

 private:
  void defineBackup();
  void defineDemo();
  void defineSampleServer();

  CLI::App* commandNamed(const std::string& name) {
    for (CLI::App* each : app_.get_subcommands([](CLI::App*) { return true; }))
      if (each->get_name() == name) return each;
    return nullptr;
  }

  /// The arguments with an option added for every variable that says what they don't.
  static std::vector<std::string> withEnvironment(const CLI::App& command,
                                                  std::vector<std::string> arguments) {
    const std::vector<std::string> given = arguments;
    const auto isGiven = [&](const std::string& name) {
      const std::string option = "--" + name;
      return std::ranges::any_of(
          given, [&](const auto& each) { return each == option || each.starts_with(option + "="); });
    };
    for (const CLI::Option* option : command.get_options()) {
      for (const auto& name : option->get_lnames()) {
        if (name == "help" || isGiven(name)) continue;
        const auto value = environment::value(name);
        const bool isSettled = std::ranges::any_of(alternatives, [&](const auto& pair) {
          return (pair.first == name && isGiven(std::string(pair.second))) ||
                 (pair.second == name && isGiven(std::string(pair.first)));
        });
        if (!value || isSettled) continue;
        const bool isFlag = option->get_items_expected_max() == 0;
        if (!isFlag) arguments.push_back(fmt::format("--{}={}", name, *value));
        if (isFlag && environment::flag(name, *value)) arguments.push_back("--" + name);
      }
    }
    return arguments;
  }

  /// A stray argument may be a secret, so only what could be a command is repeated.
  static bool looksLikeCommand(const std::string& text) {
    return text.size() <= 20 &&
           std::ranges::all_of(text, [](char c) { return (c >= 'a' && c <= 'z') || c == '-'; });
  }

  static std::string withoutLineEnds(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return text;
  }

  static std::string describeExtras(const CLI::App& command) {
    std::vector<std::string> options;
    for (const auto& each : command.remaining(true))
      if (each.starts_with('-') && each != "-" && each != "--")
        // Behind a short option's letter, or an equals sign, a value may stand.
        options.push_back(each.starts_with("--") ? each.substr(0, each.find('=')) : each.substr(0, 2));
    const std::string hint = command.get_parent() ? command.get_name() + " " : "";
    if (options.empty()) return fmt::format("There is an argument too many. See orvik {}--help.", hint);
    return fmt::format("unknown option {}. See orvik {}--help.", fmt::join(options, ", "), hint);
  }

  Invocation invocationOf(const CLI::App& command) const {
    if (command.get_name() == "demo") return demo_;
    if (command.get_name() == "sample-server") return server_;
    for (const auto& later : laterOptions)
      if (command.count(later.name) != 0)
        throw UsageError(fmt::format("{} is not available in this version: {}.", later.name, later.reason));
    const std::array<std::pair<const char*, const std::string*>, 3> required{
        {{"--to", &backup_.to}, {"--url", &backup_.url}, {"--client-id", &backup_.clientID}}};
    for (const auto& [name, value] : required)
      if (value->empty()) throw UsageError(fmt::format("{} is missing. See orvik backup --help.", name));
    if (backup_.secretFile && backup_.secretCommand)
      throw UsageError("--secret-file and --secret-command exclude each other.");
    return backup_;
  }

  static void quietAndJSON(CLI::App& command, bool& quiet, bool* json) {
    command.add_flag("--quiet", quiet, "Print results and failures only");
    if (json != nullptr) command.add_flag("--json", *json, "Print JSON lines on standard output");
  }

  CLI::App app_;
  BackupArguments backup_;
  DemoArguments demo_;
  SampleServerArguments server_;
};

void CommandTable::defineBackup() {
  auto& command = *app_.add_subcommand("backup", "Make one backup of a server");
  auto& a = backup_;
  const auto list = [&](const char* name, std::vector<std::string>& ids, const char* text) {
    command.add_option(name, ids, text)
        ->type_name("ID[,ID...]")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  const auto number = [&](const char* name, auto& value, double low, double high, const char* text) {
    command.add_option(name, value, text)->type_name("N")->check(within(low, high))->capture_default_str();
  };
  command.add_option("--to", a.to, "Folder of all instances; made when it is missing")->type_name("ROOT");
  command.add_option("--url", a.url, "The server")->type_name("URL");
  command.add_option("--client-id", a.clientID, "Client ID of an API client of the server")->type_name("ID");
  command.add_option("--name", a.name, "Display name of the server (default: its host)")->type_name("NAME");
  command.add_option("--secret-file", a.secretFile, "File with the client secret; - is standard input")
      ->type_name("FILE");
  command.add_option("--secret-command", a.secretCommand, "Command that prints the client secret")
      ->type_name("CMD");
  list("--only", a.only, "Read these sections alone");
  list("--disable", a.disable, "Leave these sections out");
  number("--concurrency", a.concurrency, 1, 64, "Requests side by side");
  number("--rate", a.rate, 0, 100000, "Requests a second at most; 0 is no limit");
  number("--attempts", a.attempts, 1, 100, "Attempts for each request");
  number("--base-delay", a.baseDelay, 0, 3600, "Seconds before the first repeat");
  number("--max-delay", a.maxDelay, 0, 86400, "Seconds before a later repeat at most");
  command.add_flag("--no-resume", a.noResume, "Begin anew where a run was interrupted");
  command.add_flag("--encrypt", a.encrypt,
                   "Seal the backup; a folder that was sealed once is sealed for good");
  command.add_option("--key", a.key, "PEM file of the organisation's private key (default: the keychain)")
      ->type_name("FILE");
  command.add_option("--key-id", a.keyID, "Seal a new folder for this key alone (default: for all at hand)")
      ->type_name("ID");
  number("--lock-wait", a.lockWait, 0, aYear, "Seconds to wait for another writer");
  command.add_option("--ca-file", a.caFile, "PEM file of further trust anchors for TLS")->type_name("FILE");
  quietAndJSON(command, a.quiet, &a.json);
  // What these ask for is so already: no version before the one that downloads, packs or reports does any of
  // it.
  for (const char* name : {"--no-files", "--no-pack", "--no-reports"})
    command.add_flag(name)->description("Already so in this version");
  for (const auto& later : laterOptions) {
    if (later.form == LaterOption::Form::flag)
      command.add_flag(later.name)->group("");
    else
      command.add_option(later.name)->group("");
  }
  command.footer(
      "The client secret may also stand in the environment variable ORVIK_CLIENT_SECRET or in the systemd\n"
      "credential orvik-client-secret. Each option has a variable too: --lock-wait is ORVIK_LOCK_WAIT.\n"
      "The last line of standard output is the backup's ID.\n\n"
      "Example:\n"
      "  orvik backup --to /srv/backups --url https://school.example --client-id 4711 --secret-file "
      "~/secret");
}

void CommandTable::defineDemo() {
  auto& command = *app_.add_subcommand("demo", "Back up a made-up server twice and show what changed");
  command.add_option("--to", demo_.to, "Folder to keep the backups in (default: a fresh temporary one)")
      ->type_name("DIR");
  command.add_option("--fleet", demo_.fleet, "Size of the made-up server")
      ->check(CLI::IsMember(
          std::vector<std::string>(sample::fleetSizeNames.begin(), sample::fleetSizeNames.end())))
      ->capture_default_str();
  quietAndJSON(command, demo_.quiet, nullptr);
  command.footer("It needs no configuration and no network.\n\nExample:\n  orvik demo --fleet school");
}

void CommandTable::defineSampleServer() {
  auto& command = *app_.add_subcommand("sample-server", "Run a made-up server until it is stopped");
  command.add_option("--port", server_.port, "Port on 127.0.0.1; 0 takes a free one")
      ->check(within(0, 65535))
      ->capture_default_str();
  command.add_option("--fleet", server_.fleet, "Size of the made-up fleet")
      ->check(CLI::IsMember(
          std::vector<std::string>(sample::fleetSizeNames.begin(), sample::fleetSizeNames.end())))
      ->capture_default_str();
  command.add_option("--seed", server_.seed, "The same number makes the same fleet")->capture_default_str();
  quietAndJSON(command, server_.quiet, &server_.json);
  command.footer("Example:\n  orvik sample-server --port 8080 --fleet small");
}

}  // namespace

Invocation parseCommandLine(const std::vector<std::string>& arguments) {
  return CommandTable().parse(arguments);
}

bool asksForJSON(const std::vector<std::string>& arguments) {
  if (std::ranges::find(arguments, "--json") != arguments.end()) return true;
  const auto value = environment::value("json");
  try {
    return value && environment::flag("json", *value);
  } catch (const UsageError&) {
    return false;
  }
}

}  // namespace orvik::host
