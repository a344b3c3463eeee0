#include <fmt/format.h>

#include "JamfCore/Automation/PlaybookResource.h"
#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Tools/WriteToolBuilder.h"
#include "Platform/Files/Files.h"

namespace jamf::tools {

namespace {

/// What is given of a script; a priority that is none of the three counts as none.
void fillScript(Script& script, const Arguments& arguments) {
  overwrite(script.name, textOf(arguments, "name"));
  overwrite(script.scriptContents, textOf(arguments, "scriptContents"));
  overwrite(script.info, textOf(arguments, "info"));
  overwrite(script.notes, textOf(arguments, "notes"));
  overwrite(script.categoryName, textOf(arguments, "categoryName"));
  overwrite(script.osRequirements, textOf(arguments, "osRequirements"));
  const auto priority =
      platform::json::enumFromText<ScriptPriority>(textOf(arguments, "priority").value_or(""));
  if (priority) script.priority = priority;
}

void addScripts(std::vector<JamfTool>& made) {
  const auto name = text("name", "Script name");
  const Parameters rest{text("scriptContents", "The script's shell contents"),
                        text("info", "Info notes"),
                        text("notes", "Notes"),
                        text("priority", "BEFORE, AFTER, or AT_REBOOT"),
                        text("categoryName", "Category name"),
                        text("osRequirements", "OS requirements string")};
  made.push_back(tool("create_script", "Creates a Script.", Parameters{required(name)} + rest,
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        Script script;
                        script.name = JamfTool::stringArgument(arguments, "name");
                        fillScript(script, arguments);
                        return ScriptService{client}.create(script, stop);
                      }));
  made.push_back(tool(
      "update_script",
      "Updates a Script. Only the fields you provide are changed — everything else keeps its current value.",
      Parameters{required(text("id", "Script id")), name} + rest,
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        const auto id = JamfTool::stringArgument(arguments, "id");
        auto script = ScriptService{client}.get(id, stop);
        fillScript(script, arguments);
        return ScriptService{client}.update(id, script, stop);
      }));
  made.push_back(deleteByText<ScriptService>("delete_script", "Deletes a Script.", "Script id"));
}

/// What a new attribute's arguments declare, with the defaults of a playbook.
ComputerExtensionAttribute newAttribute(const Arguments& arguments) {
  using platform::json::enumFromText;
  PlaybookComputerExtensionAttribute declared;
  declared.popupMenuChoices =
      JamfTool::decodeJSONArgument<std::vector<std::string>>(arguments, "popupMenuChoices");
  declared.name = JamfTool::stringArgument(arguments, "name");
  declared.description = textOf(arguments, "description");
  declared.dataType = enumFromText<AttributeDataType>(textOf(arguments, "dataType").value_or(""));
  declared.enabled = JamfTool::optionalBoolArgument(arguments, "enabled");
  declared.inputType = enumFromText<AttributeInput>(textOf(arguments, "inputType").value_or(""));
  declared.scriptContents = textOf(arguments, "scriptContents");
  return declared.toAttribute();
}

void addExtensionAttributes(std::vector<JamfTool>& made) {
  const auto name = text("name", "Extension attribute name");
  const auto description = text("description", "Description");
  const auto enabled = flag("enabled", "Whether the attribute is enabled");
  const auto contents = text("scriptContents", "Script contents (only used when inputType is SCRIPT)");
  const auto choices = text("popupMenuChoices", "JSON array of strings (only used when inputType is POPUP)");
  made.push_back(tool(
      "create_extension_attribute",
      "Creates a computer Extension Attribute definition. dataType is STRING, INTEGER, or DATE; inputType is "
      "SCRIPT, "
      "TEXT, POPUP, or DIRECTORY_SERVICE_ATTRIBUTE_MAPPING; popupMenuChoices is a JSON array of strings "
      "(only used "
      "when inputType is POPUP).",
      {required(name), description, text("dataType", "STRING, INTEGER, or DATE"), enabled,
       text("inputType", "SCRIPT, TEXT, POPUP, or DIRECTORY_SERVICE_ATTRIBUTE_MAPPING"), contents, choices},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        return ComputerExtensionAttributeService{client}.create(newAttribute(arguments), stop);
      }));
  made.push_back(tool(
      "update_extension_attribute",
      "Updates a computer Extension Attribute definition. Only the fields you provide are changed — "
      "everything "
      "else keeps its current value.",
      {required(text("id", "Extension attribute id")), name, description, enabled, contents, choices},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        const auto id = JamfTool::stringArgument(arguments, "id");
        auto given = JamfTool::decodeJSONArgument<std::vector<std::string>>(arguments, "popupMenuChoices");
        const ComputerExtensionAttributeService service{client};
        auto attribute = service.get(id, stop);
        overwrite(attribute.name, textOf(arguments, "name"));
        overwrite(attribute.description, textOf(arguments, "description"));
        overwrite(attribute.scriptContents, textOf(arguments, "scriptContents"));
        attribute.enabled = JamfTool::optionalBoolArgument(arguments, "enabled").value_or(attribute.enabled);
        if (given) attribute.popupMenuChoices = std::move(given);
        return service.update(id, attribute, stop);
      }));
  made.push_back(deleteByText<ComputerExtensionAttributeService>(
      "delete_extension_attribute", "Deletes a computer Extension Attribute definition.",
      "Extension attribute id"));
}

/// What is given of a package.
void fillPackage(Package& package, const Arguments& arguments) {
  overwrite(package.packageName, textOf(arguments, "packageName"));
  overwrite(package.fileName, textOf(arguments, "fileName"));
  overwrite(package.categoryId, textOf(arguments, "categoryId"));
  overwrite(package.info, textOf(arguments, "info"));
  overwrite(package.notes, textOf(arguments, "notes"));
  package.priority = JamfTool::optionalIntArgument(arguments, "priority").value_or(package.priority);
}

void uploadPackage(const Client& client, const std::string& id, const std::string& path,
                   const std::stop_token& stop) {
  if (!platform::files::exists(path))
    throw JamfToolError(fmt::format("No file exists at \"{}\" on this Mac.", path));
  PackageService{client}.upload(id, path, {}, stop);
}

void addPackages(std::vector<JamfTool>& made) {
  const auto name = text("packageName", "Display name");
  const auto category = text("categoryId", "Category id");
  const auto info = text("info", "Info notes");
  const auto notes = text("notes", "Notes");
  made.push_back(tool(
      "create_package",
      "Creates Package metadata (no binary yet — call upload_package afterward to attach one).",
      {required(name),
       required(text(
           "fileName",
           "The binary's filename, e.g. \"MyApp.pkg\" — must match exactly what upload_package sends later")),
       required(category),
       required(integer("priority", "Install priority (no documented default — pick a value like 10)")), info,
       notes, flag("rebootRequired", "Whether installing requires a reboot")},
      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
        Package package;
        for (const auto* key : {"packageName", "fileName", "categoryId"})
          JamfTool::stringArgument(arguments, key);
        JamfTool::intArgument(arguments, "priority");
        fillPackage(package, arguments);
        package.rebootRequired = isSet(arguments, "rebootRequired");
        return PackageService{client}.create(package, stop);
      }));
  made.push_back(tool("update_package",
                      "Updates Package metadata. Only the fields you provide are changed — everything else "
                      "keeps its current value.",
                      {required(text("id", "Package id")), name, text("fileName", "The binary's filename"),
                       category, integer("priority", "Install priority"), info, notes},
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        const auto id = JamfTool::stringArgument(arguments, "id");
                        auto package = PackageService{client}.get(id, stop);
                        fillPackage(package, arguments);
                        return PackageService{client}.update(id, package, stop);
                      }));
  made.push_back(deleteByText<PackageService>("delete_package", "Deletes Package metadata.", "Package id"));
  made.push_back(tool("upload_package",
                      "Attaches a binary to an existing Package's metadata record. fileURL must be a path on "
                      "the SAME machine running "
                      "Kelm (e.g. /Users/you/Downloads/MyApp.pkg) — this tool streams the file from local "
                      "disk, it cannot accept file "
                      "bytes over the connection.",
                      {required(text("id", "Package id")),
                       required(text("fileURL", "Absolute path to the package binary on this Mac's disk"))},
                      [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                        const auto id = JamfTool::stringArgument(arguments, "id");
                        uploadPackage(client, id, JamfTool::stringArgument(arguments, "fileURL"), stop);
                        return IDConfirmation{id};
                      }));
}

}  // namespace

void addContentTools(std::vector<JamfTool>& made) {
  addScripts(made);
  addExtensionAttributes(made);
  addPackages(made);
}

}  // namespace jamf::tools
