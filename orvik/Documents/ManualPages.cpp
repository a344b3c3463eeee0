#include "orvik/Documents/ManualPages.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <string_view>

namespace orvik::host {

namespace {

constexpr std::string_view environmentAndStatus = R"roff(.SH ENVIRONMENT
Every long option may also be set by a variable of its name in capitals, as
.B ORVIK_LOCK_WAIT
for
.BR \-\-lock\-wait ;
the command line has the last word.
.TP
.B ORVIK_CLIENT_SECRET
The client secret of the server. It is forgotten by the program's environment once it was read.
.TP
.B NO_COLOR
When it is set, nothing is coloured.
.SH EXIT STATUS
.TP
.B 0
done
.TP
.B 1
failed
.TP
.B 2
the command line, or a document, makes no sense
.TP
.B 3
a backup was published with warnings
.TP
.B 4
a check found damage
.TP
.B 5
.BR status :
a backup is missing or too old, or a scheduled run is late
.TP
.B 6
.BR "playbook plan" :
there are changes to be made
.TP
.B 10
no such folder, backup, instance, organization, scheduled run or object
.TP
.B 11
another writer holds the folder
.TP
.B 12
the client's credentials are missing or refused
.TP
.B 130
cancelled
)roff";

/// Text as it stands: no word of it is a request or an escape of roff.
std::string plain(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool beginsLine = i == 0 || text[i - 1] == '\n';
    if (beginsLine && (c == '.' || c == '\'')) result += "\\&";
    if (c == '\\')
      result += "\\e";
    else if (c == '-')
      result += "\\-";
    else
      result += c;
  }
  return result;
}

/// For people a hyphen is no minus.
std::string prose(std::string_view text) {
  auto result = plain(text);
  for (std::size_t at = 0; (at = result.find("\\-", at)) != result.npos; ++at) {
    const bool isInWord = at > 0 && result[at - 1] >= 'a' && result[at - 1] <= 'z' &&
                          at + 2 < result.size() && result[at + 2] >= 'a' && result[at + 2] <= 'z';
    if (isInWord) result.erase(at, 1);
  }
  return result;
}

/// An argument of a macro.
std::string argument(std::string_view text) {
  std::string result = "\"";
  for (const char c : plain(text)) result += c == '"' ? std::string("\\(dq") : std::string(1, c);
  return result + "\"";
}

std::string upper(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

std::string dashed(std::string text) {
  std::ranges::replace(text, ' ', '-');
  return text;
}

std::string heading(const std::string& name) {
  return fmt::format(".TH {} 1 \"\" \"orvik " ORVIK_VERSION "\" \"Orvik\"\n", argument(upper(name)));
}

std::string synopsis(const CommandDescription& command) {
  std::string text = ".B " + plain("orvik" + (command.name.empty() ? "" : " " + command.name)) + "\n";
  for (const auto& each : command.arguments) text += ".RI [ " + plain(each.names.front()) + " ]\n";
  text += "[options]\n";
  return text;
}

std::string optionList(const CommandDescription& command) {
  std::string text;
  const auto add = [&](const OptionDescription& option) {
    std::string tag = ".TP\n.B " + plain(fmt::format("{}", fmt::join(option.names, ", ")));
    if (!option.value.empty()) tag += " \\fI" + plain(option.value) + "\\fP";
    text += tag + "\n" + prose(option.text);
    if (!option.defaultValue.empty()) text += " (default: " + prose(option.defaultValue) + ")";
    text += ".\n";
  };
  for (const auto& each : command.arguments) add(each);
  for (const auto& each : command.options) add(each);
  return text;
}

/// The footer's prose, and its examples with their indented lines as they stand.
std::string footer(const std::string& text) {
  std::string result;
  bool isLiteral = false;
  for (std::size_t at = 0; at < text.size();) {
    const auto end = std::min(text.find('\n', at), text.size());
    const auto line = std::string_view(text).substr(at, end - at);
    at = end + 1;
    const bool isIndented = line.starts_with("  ");
    if (isIndented != isLiteral && !line.empty()) {
      result += isIndented ? ".PP\n.nf\n.RS 4\n" : ".RE\n.fi\n.PP\n";
      isLiteral = isIndented;
    }
    if (line.empty())
      result += isLiteral ? "" : ".PP\n";
    else
      result += (isLiteral ? plain(line.substr(2)) : prose(line)) + "\n";
  }
  if (isLiteral) result += ".RE\n.fi\n";
  return result;
}

/// Two lines of `.PP` in a row are one.
std::string tidied(std::string text) {
  constexpr std::string_view twice = ".PP\n.PP\n";
  for (std::size_t at = 0; (at = text.find(twice, at)) != text.npos;) text.erase(at, 4);
  return text;
}

ManualPage page(const CommandDescription& command) {
  const auto name = "orvik-" + dashed(command.name);
  std::string text =
      heading(name) + ".SH NAME\n" + plain(name) + " \\- " + prose(command.summary) + "\n.SH SYNOPSIS\n";
  std::vector<const CommandDescription*> parts;
  if (command.commands.empty() || command.options.size() > 1) parts.push_back(&command);
  for (const auto& each : command.commands) parts.push_back(&each);
  for (const auto* part : parts) text += synopsis(*part) + ".br\n";
  for (const auto* part : parts) {
    text += part == &command ? ".SH DESCRIPTION\n" : ".SH " + argument(upper("orvik " + part->name)) + "\n";
    text += prose(part->summary) + ".\n.PP\n" + footer(part->footer) + optionList(*part);
  }
  text += ".SH SEE ALSO\n.BR orvik (1),\n.BR orvik\\-format (5)\n";
  return {name + ".1", tidied(std::move(text))};
}

ManualPage programPage(const CommandDescription& program) {
  std::string text =
      heading("orvik") + ".SH NAME\norvik \\- " + prose(program.summary) +
      "\n.SH SYNOPSIS\n.B orvik\n.I command\n[options]\n.br\n.B orvik\n.I command\n.B \\-\\-help\n"
      ".SH DESCRIPTION\n";
  text += footer(program.footer) + ".SH COMMANDS\n";
  for (const auto& each : program.commands)
    text += fmt::format(".TP\n.BR {} (1)\n{}\n", plain("orvik-" + each.name), prose(each.summary));
  text += ".SH OPTIONS\n" + optionList(program);
  text += environmentAndStatus;
  text += ".SH SEE ALSO\n.BR orvikctl (1),\n.BR orvik\\-format (5)\n";
  return {"orvik.1", tidied(std::move(text))};
}

}  // namespace

std::vector<ManualPage> manualPages(const CommandDescription& program) {
  std::vector<ManualPage> pages{programPage(program)};
  for (const auto& command : program.commands) pages.push_back(page(command));
  return pages;
}

}  // namespace orvik::host
