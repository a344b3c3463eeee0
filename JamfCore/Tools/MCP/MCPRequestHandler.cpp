#include "JamfCore/Tools/MCP/MCPRequestHandler.h"

#include <algorithm>
#include <exception>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"

namespace jamf {

namespace {

namespace json = platform::json;

struct Empty {
  void encode(json::Writer& writer) const {
    writer.beginObject();
    writer.endObject();
  }
};

struct Capabilities {
  Empty tools;
  static constexpr auto fields() { return fieldList(json::field("tools", &Capabilities::tools)); }
};

struct ServerInfo {
  std::string name = "Kelm";
  std::string version = "0.1.0";
  static constexpr auto fields() {
    return fieldList(json::field("name", &ServerInfo::name), json::field("version", &ServerInfo::version));
  }
};

struct InitializeResult {
  std::string protocolVersion;
  Capabilities capabilities = {};
  ServerInfo serverInfo = {};
  static constexpr auto fields() {
    return fieldList(json::field("protocolVersion", &InitializeResult::protocolVersion),
                     json::field("capabilities", &InitializeResult::capabilities),
                     json::field("serverInfo", &InitializeResult::serverInfo));
  }
};

struct WireTool {
  std::string name;
  std::string description;
  JSONValue inputSchema;
  static constexpr auto fields() {
    return fieldList(json::field("name", &WireTool::name), json::field("description", &WireTool::description),
                     json::field("inputSchema", &WireTool::inputSchema));
  }
};

struct ToolsListResult {
  std::vector<WireTool> tools;
  static constexpr auto fields() { return fieldList(json::field("tools", &ToolsListResult::tools)); }
};

struct ContentItem {
  std::string type = "text";
  std::string text;
  static constexpr auto fields() {
    return fieldList(json::field("type", &ContentItem::type), json::field("text", &ContentItem::text));
  }
};

struct ToolsCallResult {
  std::vector<ContentItem> content;
  bool isError = false;
  static constexpr auto fields() {
    return fieldList(json::field("content", &ToolsCallResult::content),
                     json::field("isError", &ToolsCallResult::isError));
  }
};

/// An envelope as bytes; `otherwise` when that fails.
template <class Envelope>
platform::Bytes encoded(const Envelope& envelope, std::string_view otherwise) {
  try {
    auto bytes = json::Encoder(json::Rendering::compact).encode(envelope);
    if (platform::locale::isValidUTF8(bytes)) return bytes;
  } catch (const platform::Error&) {
  }
  return platform::Bytes(otherwise);
}

template <class Result>
platform::Bytes encodeResult(Result result, const JSONValue& id) {
  return encoded(JSONRPCResultEnvelope<Result>{.id = id, .result = std::move(result)},
                 MCPRequestHandler::resultNotEncoded);
}

platform::Bytes encodeError(std::int64_t code, const std::string& message, const JSONValue& id) {
  return encoded(JSONRPCErrorEnvelope{.id = id, .error = {code, message}},
                 MCPRequestHandler::errorNotEncoded);
}

/// A result that was encoded for the ID null, for another one. The ID stands first in it.
platform::Bytes readdressed(const platform::Bytes& answerToNull, const JSONValue& id) {
  constexpr std::string_view begin = R"({"id":)", null = "null";
  if (!answerToNull.starts_with(begin)) return answerToNull;
  auto answer = encoded(JSONValue::object({{"id", id}}), MCPRequestHandler::resultNotEncoded);
  if (!answer.starts_with(begin)) return answer;
  answer.pop_back();
  return answer.append(answerToNull, begin.size() + null.size());
}

/// A member of the request's parameters.
const JSONValue* parameter(const JSONRPCRequest& request, std::string_view key) {
  return request.params ? (*request.params)[key] : nullptr;
}

InitializeResult initialize(const JSONRPCRequest& request) {
  const auto* const version = parameter(request, "protocolVersion");
  const auto* const text = version ? version->stringValue() : nullptr;
  return {.protocolVersion = text ? *text : "2025-06-18"};
}

JSONValue inputSchema(const JamfTool& tool) {
  JSONValue::Object properties;
  JSONValue::Array required;
  for (const auto& each : tool.parameters) {
    properties.insert_or_assign(
        each.name, JSONValue::object({{"type", JSONValue::string(std::string(json::textOf(each.type)))},
                                      {"description", JSONValue::string(each.description)}}));
    if (each.required) required.push_back(JSONValue::string(each.name));
  }
  return JSONValue::object({{"type", JSONValue::string("object")},
                            {"properties", JSONValue::object(std::move(properties))},
                            {"required", JSONValue::array(std::move(required))}});
}

ToolsListResult listed(const std::vector<JamfTool>& tools) {
  ToolsListResult result;
  for (const auto& tool : tools) result.tools.push_back({tool.name, tool.description, inputSchema(tool)});
  return result;
}

/// What is no object counts as no arguments.
JamfTool::Arguments argumentsOf(const JSONRPCRequest& request) {
  JamfTool::Arguments arguments;
  const auto* const given = parameter(request, "arguments");
  if (const auto* const members = given ? given->objectValue() : nullptr)
    for (const auto& [key, value] : *members) arguments.emplace(key, value.anyValue());
  return arguments;
}

/// The names of required parameters that are not there, joined by commas.
std::string missingArguments(const JamfTool& tool, const JamfTool::Arguments& arguments) {
  std::string names;
  for (const auto& each : tool.parameters)
    if (each.required && !arguments.contains(each.name)) names += (names.empty() ? "" : ", ") + each.name;
  return names;
}

}  // namespace

MCPRequestHandler::MCPRequestHandler(std::vector<JamfTool> tools, OrgManager& orgManager)
    : tools_(std::move(tools)),
      orgManager_(orgManager),
      list_(encodeResult(listed(tools_), JSONValue::null())) {}

std::optional<platform::Bytes> MCPRequestHandler::handle(const JSONRPCRequest& request,
                                                         const std::stop_token& stop) const {
  if (!request.id) return std::nullopt;
  if (request.method == "initialize") return encodeResult(initialize(request), *request.id);
  if (request.method == "tools/list") return readdressed(list_, *request.id);
  if (request.method == "tools/call") return call(request, stop);
  return encodeError(JSONRPCErrorCode::methodNotFound, "Method not found: " + request.method, *request.id);
}

platform::Bytes MCPRequestHandler::call(const JSONRPCRequest& request, const std::stop_token& stop) const {
  const auto refuse = [&](const std::string& message) {
    return encodeError(JSONRPCErrorCode::invalidParams, message, *request.id);
  };
  const auto* const given = parameter(request, "name");
  const auto* const name = given ? given->stringValue() : nullptr;
  if (!name) return refuse("Invalid params: \"name\" is required");
  const auto tool = std::ranges::find(tools_, *name, &JamfTool::name);
  if (tool == tools_.end()) return refuse("Unknown tool: " + *name);
  const auto arguments = argumentsOf(request);
  if (const auto missing = missingArguments(*tool, arguments); !missing.empty())
    return refuse("Missing required argument(s): " + missing);

  ToolsCallResult result;
  auto& text = result.content.emplace_back().text;
  try {
    text = tool->handler(orgManager_, arguments, stop);
    if (!platform::locale::isValidUTF8(text)) text.clear();
  } catch (const std::exception& error) {
    platform::throwIfCancelled(stop);
    text = error.what();
    result.isError = true;
  }
  return encodeResult(std::move(result), *request.id);
}

}  // namespace jamf
