#include "orvik/MCP/MCPExchange.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Error.h"

namespace orvik::host {

namespace {

namespace json = platform::json;
using jamf::JSONRPCErrorEnvelope;
using jamf::JSONRPCRequest;
using jamf::JSONValue;

// What JSON-RPC 2.0 has besides the codes of the request handler.
constexpr std::int64_t parseErrorCode = -32700;
constexpr std::int64_t invalidRequestCode = -32600;

/// Values in a message. A decoded one takes many times the room of its text, and no tool takes a hundred.
constexpr std::size_t mostValues = 100'000;

struct Empty {
  void encode(json::Writer& writer) const {
    writer.beginObject();
    writer.endObject();
  }
};

template <class Envelope>
platform::Bytes encoded(const Envelope& envelope) {
  return json::Encoder(json::Rendering::compact).encode(envelope);
}

MCPReply refused(std::int64_t code, const std::string& message, JSONValue id = JSONValue::null()) {
  return {MCPReply::Kind::refusal,
          encoded(JSONRPCErrorEnvelope{.id = std::move(id), .error = {code, message}})};
}

/// The ID of what is no request, where it can be one.
JSONValue idOf(json::View message) {
  const auto id = message["id"];
  return id && (id->string() || id->number()) ? JSONValue::decode(*id) : JSONValue::null();
}

std::optional<json::View> at(json::View value, std::initializer_list<std::string_view> path) {
  std::optional<json::View> found = value;
  for (const auto key : path)
    if (found) found = (*found)[key];
  return found;
}

/// The digits of a whole number, also of one that was written as 3.0 or 1e3.
std::optional<std::string> wholeText(json::View value) {
  constexpr double exact = 9007199254740992.0;  // 2^53: beyond, a floating point is no one integer
  if (const auto integer = value.int64()) return std::to_string(*integer);
  if (const auto integer = value.uint64()) return std::to_string(*integer);
  const auto number = value.number();
  if (!number || *number != std::trunc(*number) || std::abs(*number) > exact) return std::nullopt;
  return std::to_string(static_cast<std::int64_t>(*number));
}

/// An answer that names its request: the handler's last resort has no room for an ID.
platform::Bytes withID(platform::Bytes answer, const JSONValue& id) {
  using Handler = jamf::MCPRequestHandler;
  if (answer != Handler::resultNotEncoded && answer != Handler::errorNotEncoded) return answer;
  const auto document = json::Document::parse(answer);
  auto envelope = JSONRPCErrorEnvelope{.id = id, .error = {}};
  envelope.error.code = at(document->root(), {"error", "code"})->int64().value();
  envelope.error.message = at(document->root(), {"error", "message"})->string().value();
  return encoded(envelope);
}

/// Counted ahead of decoding, for the memory's sake: what begins a value's neighbour or its inside, outside
/// of texts.
bool holdsTooMuch(std::string_view message) {
  constexpr std::string_view marks = ",[{";
  if (message.size() <= mostValues) return false;
  std::size_t count = 1;
  bool isText = false;
  for (std::size_t i = 0; i < message.size() && count <= mostValues; ++i) {
    const char c = message[i];
    if (c == '"')
      isText = !isText;
    else if (isText && c == '\\')
      ++i;
    else if (!isText && marks.find(c) != marks.npos)
      ++count;
  }
  return count > mostValues;
}

MCPCall::Outcome outcomeOf(const platform::Bytes& answer) {
  const auto document = json::Document::parse(answer);
  const auto isError = at(document->root(), {"result", "isError"});
  if (!isError) return MCPCall::Outcome::refused;
  return isError->boolean().value_or(false) ? MCPCall::Outcome::failed : MCPCall::Outcome::done;
}

std::string textAt(json::View message, std::initializer_list<std::string_view> path) {
  const auto found = at(message, path);
  return std::string(found ? found->string().value_or("") : "");
}

}  // namespace

MCPExchange::MCPExchange(std::vector<jamf::JamfTool> tools, jamf::OrgManager& organizations, OnCall onCall)
    : tools_(std::move(tools)), handler_(tools_, organizations), onCall_(std::move(onCall)) {}

MCPReply MCPExchange::refusal(const std::string& reason) { return refused(invalidRequestCode, reason); }

MCPReply MCPExchange::reply(std::string_view message, const std::stop_token& stop) const {
  if (holdsTooMuch(message)) return refusal("The message holds more than 100,000 values");
  try {
    const auto document = json::Document::parse(message);
    const auto root = document->root();
    if (root.isArray()) return refusal("Batches are not supported: send one request at a time");
    JSONRPCRequest request;
    try {
      request = json::decodeValue<JSONRPCRequest>(root);
    } catch (const json::DecodingError& error) {
      return refused(invalidRequestCode, "Invalid request: " + error.description(), idOf(root));
    }
    auto answer = handle(request, root, stop);
    if (!answer) return {};
    return {MCPReply::Kind::answer, withID(std::move(*answer), *request.id)};
  } catch (const json::ParseError& error) {
    return refused(parseErrorCode, "Parse error: " + error.description());
  }
}

std::optional<platform::Bytes> MCPExchange::handle(JSONRPCRequest& request, json::View message,
                                                   const std::stop_token& stop) const {
  // Clients take a refused ping for a dead server, and connect anew without end.
  if (request.method == "ping" && request.id)
    return encoded(jamf::JSONRPCResultEnvelope<Empty>{.id = *request.id, .result = {}});
  const bool isCall = request.method == "tools/call" && request.id;
  if (!isCall) return handler_.handle(request, stop);

  passIntegers(request, message);
  const auto begin = platform::MonotonicClock::now();
  auto answer = handler_.handle(request, stop);
  if (!onCall_ || !answer) return answer;
  MCPCall call{
      .tool = textAt(message, {"params", "name"}), .organization = {}, .outcome = outcomeOf(*answer)};
  const auto organization = textAt(message, {"params", "arguments", "orgName"});
  if (!organization.empty()) call.organization = organization;
  call.duration = platform::MonotonicClock::now() - begin;
  onCall_(call);
  return answer;
}

/// Tools take an integer as a text of it; clients that go by the schema send a number.
void MCPExchange::passIntegers(JSONRPCRequest& request, json::View message) const {
  const auto given = at(message, {"params", "arguments"});
  const auto tool = std::ranges::find(tools_, textAt(message, {"params", "name"}), &jamf::JamfTool::name);
  if (!given || !given->isObject() || tool == tools_.end()) return;
  auto& params = std::get<JSONValue::Object>(request.params->value);
  auto& arguments = std::get<JSONValue::Object>(params.at("arguments").value);
  for (const auto& parameter : tool->parameters) {
    if (parameter.type != jamf::ParameterType::integer) continue;
    const auto value = (*given)[parameter.name];
    if (const auto text = value ? wholeText(*value) : std::nullopt)
      arguments.insert_or_assign(parameter.name, JSONValue::string(*text));
  }
}

}  // namespace orvik::host
