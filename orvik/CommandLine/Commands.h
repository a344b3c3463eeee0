#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <string_view>
#include <vector>

#include "orvik/Arguments.h"

namespace orvik::host::commandLine {

/// A command as the command line knows it.
struct Command {
  CLI::App* parser = nullptr;  ///< its place in the tree of parsers; owned by the program's
  /// What was asked for, once it has parsed. Throws `UsageError` for what the parser can't see.
  std::function<Invocation()> invocation;
  /// Options that what the organisation forces and the user chose doesn't fill: they mean something else
  /// here.
  std::vector<std::string_view> withoutSetting = {};
};
using Commands = std::vector<Command>;

// Each adds commands to the program with their options, help and example. The rooms have the same names.

void addBackup(CLI::App& program, Commands& commands);
void addSimulate(CLI::App& program, Commands& commands);
/// `config show`, `config set` and `config unset`.
void addConfig(CLI::App& program, Commands& commands);
/// `demo` and `sample-server`.
void addSamples(CLI::App& program, Commands& commands);
/// `pack`, `gc` and `retention`.
void addFolderCare(CLI::App& program, Commands& commands);
/// `check`, `repair` and `stats`.
void addHealth(CLI::App& program, Commands& commands);
/// `lock show` and `lock unlock`.
void addLock(CLI::App& program, Commands& commands);
/// `instances list`, `instances add`, `instances remove` and `instances test`.
void addInstances(CLI::App& program, Commands& commands);
/// `orgs list`, `orgs add`, `orgs remove` and `orgs rename`.
void addOrgs(CLI::App& program, Commands& commands);
/// `playbook check`, `playbook next`, `playbook plan`, `playbook apply`, `playbook fetch` and `playbook
/// from-backup`.
void addPlaybook(CLI::App& program, Commands& commands);
/// `sections`, `show`, `diff`, `search`, `history` and `export`.
void addExplore(CLI::App& program, Commands& commands);
/// `schedule list`, `schedule add`, `schedule remove` and `schedule run`.
void addSchedule(CLI::App& program, Commands& commands);
/// `relations group`, `relations device` and `relations attribute`.
void addRelations(CLI::App& program, Commands& commands);
/// `export-server` and `patch-report`.
void addServerFiles(CLI::App& program, Commands& commands);
/// `mcp` and `mcp tools`.
void addMCP(CLI::App& program, Commands& commands);
void addStatus(CLI::App& program, Commands& commands);
void addDoctor(CLI::App& program, Commands& commands);
/// `completion` and `manual`.
void addDocuments(CLI::App& program, Commands& commands);

}  // namespace orvik::host::commandLine
