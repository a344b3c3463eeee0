#include "orvikctl/Driver.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>
#include <utility>

#include "orvikctl/FolderCommands.h"
#include "orvikctl/KeyCommands.h"
#include "orvikctl/MaintenanceCommands.h"
#include "orvikctl/ReportCommand.h"
#include "orvikctl/Usage.h"

namespace orvik::ctl {

namespace {

using namespace std::string_view_literals;

constexpr std::array folderCommands{"list"sv, "verify"sv, "gc"sv, "pack"sv, "report"sv};

bool contains(const auto& names, std::string_view name) {
  return std::ranges::find(names, name) != std::ranges::end(names);
}

int dispatch(const std::string& command, const Arguments& arguments, std::ostream& out) {
  if (contains(folderCommands, command))
    if (const auto positionals = positional(arguments); !positionals.empty())
      unlockIfRequested(positionals.front(), option("--key", arguments));

  if (command == "encrypt") return encrypt(arguments, out);
  if (command == "key-info") return keyInfo(arguments, out);
  if (command == "keys") return keys(out);
  if (command == "decrypt") return decrypt(arguments, out);
  if (command == "list") return list(arguments, out);
  if (command == "verify") return verify(arguments, out);
  if (command == "gc") return gc(arguments, out);
  if (command == "pack") return pack(arguments, out);
  if (command == "report") return report(arguments, out);
  if (command == "-h" || command == "--help" || command == "help") {
    out << usage << '\n';
    return 0;
  }
  fail("unknown command " + command + "\n" + std::string(usage));
}

}  // namespace

void fail(std::string message) { throw Failure{std::move(message)}; }

int run(const Arguments& arguments, std::ostream& out, std::ostream& err) {
  const auto failed = [&](std::string_view message) {
    out.flush();
    err << "orvikctl: " << message << '\n';
    return 1;
  };
  try {
    if (arguments.empty()) {
      out << usage << '\n';
      return 0;
    }
    return dispatch(arguments.front(), Arguments(arguments.begin() + 1, arguments.end()), out);
  } catch (const Failure& failure) {
    return failed(failure.message);
  } catch (const std::exception& error) {
    return failed(error.what());
  }
}

}  // namespace orvik::ctl
