#include "orvik/CommandLine/Options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"

namespace orvik::host::commandLine {

namespace {

constexpr double aYear = 365.0 * 24 * 3600;

bool within(Bounds bounds, long number) {
  return static_cast<double>(number) >= bounds.low && static_cast<double>(number) <= bounds.high;
}

}  // namespace

CLI::Validator wholeNumber(Bounds bounds) {
  return CLI::Validator(
      [bounds](std::string& text) {
        const bool isPlain = !text.empty() && text.size() <= 9 &&
                             text.find_first_not_of("0123456789") == std::string::npos &&
                             (text.size() == 1 || text.front() != '0');
        if (isPlain && within(bounds, std::stol(text))) return std::string();
        return fmt::format("{} is no whole number from {} to {}", text, bounds.low, bounds.high);
      },
      "");
}

std::string nameOf(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  const bool isNested = parent != nullptr && parent->get_parent() != nullptr;
  return isNested ? nameOf(*parent) + " " + command.get_name() : command.get_name();
}

CLI::Validator within(double low, double high) {
  // Spelled out, since the ready-made check lets "nan" through.
  return CLI::Validator(
      [low, high](std::string& text) {
        double number = 0;
        if (CLI::detail::lexical_cast(text, number) && number >= low && number <= high) return std::string();
        return fmt::format("{} is no number from {} to {}", text, low, high);
      },
      "");
}

void addQuiet(CLI::App& command, bool& quiet) {
  command.add_flag("--quiet", quiet, "Print results and failures only");
}

void addJSON(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "Print JSON lines on standard output");
}

void addForm(CLI::App& command, OutputArguments& arguments) {
  addQuiet(command, arguments.quiet);
  addJSON(command, arguments.json);
}

void addOrgServer(CLI::App& command, OrgServerArguments& arguments) {
  command.add_option("--org", arguments.org, "The organization by its name or ID, as orvik orgs lists it")
      ->type_name("NAME");
  command.add_option("--database", arguments.database, "Database of organizations (default: your own)")
      ->type_name("FILE");
  addTrustAnchors(command, arguments.caFile);
  addForm(command, arguments);
}

void addKey(CLI::App& command, std::optional<std::string>& key) {
  command.add_option("--key", key, "PEM file of the organisation's private key (default: the keychain)")
      ->type_name("FILE");
}

void addLockWait(CLI::App& command, double& seconds) {
  addNumber(command, "--lock-wait", seconds, 0, aYear, "Seconds to wait for another writer");
}

void addLimits(CLI::App& command, RetentionPolicy& keep) {
  const auto limit = [&](const char* name, int& value, const char* text) {
    command.add_option(name, value, text)->type_name("N")->check(wholeNumber(bounds::limit));
  };
  limit("--keep", keep.keepCount, "Keep so many newest backups; 0 is no limit");
  limit("--keep-days", keep.keepDays, "Keep backups that finished within so many days; 0 is no limit");
}

void addTrustAnchors(CLI::App& command, std::string& file) {
  command.add_option("--ca-file", file, "PEM file of further trust anchors for TLS")->type_name("FILE");
}

void addSecret(CLI::App& command, std::optional<std::string>& file,
               std::optional<std::string>& secretCommand) {
  command.add_option("--secret-file", file, "File with the client secret; - is standard input")
      ->type_name("FILE");
  command.add_option("--secret-command", secretCommand, "Command that prints the client secret")
      ->type_name("CMD");
}

void requireOneSecret(const CLI::App& command) {
  if (command.count("--secret-file") != 0 && command.count("--secret-command") != 0)
    throw UsageError("--secret-file and --secret-command exclude each other.");
}

void requireNoBlank(const CLI::App& command) {
  for (const CLI::Option* option : command.get_options())
    for (const auto& value : option->results())
      if (platform::locale::trimmed(value).empty())
        throw UsageError(
            fmt::format("{} is blank. See orvik {} --help.", option->get_name(), nameOf(command)));
}

void requireGiven(const CLI::App& command, const char* name) {
  if (command.count(name) == 0)
    throw UsageError(fmt::format("{} is missing. See orvik {} --help.", name, nameOf(command)));
}

void addFolder(CLI::App& command, std::string& folder) {
  command.add_option("FOLDER", folder, "Folder of one instance, below the one that --to of a backup names")
      ->type_name("");
}

void requireFolder(const CLI::App& command, const std::string& folder) {
  if (folder.empty())
    throw UsageError(fmt::format("The instance folder is missing. See orvik {} --help.", nameOf(command)));
}

}  // namespace orvik::host::commandLine
