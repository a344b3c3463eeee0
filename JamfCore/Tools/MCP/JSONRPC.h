#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "JamfCore/Tools/MCP/JSONValue.h"
#include "Platform/JSON/Codable.h"

/// The messages of JSON-RPC 2.0 that the tool server knows.
namespace jamf {

struct JSONRPCRequest {
  std::string jsonrpc;          ///< compared with nothing
  std::optional<JSONValue> id;  ///< none: a notification
  std::string method;
  std::optional<JSONValue> params;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("jsonrpc", &JSONRPCRequest::jsonrpc), field("id", &JSONRPCRequest::id),
                     field("method", &JSONRPCRequest::method), field("params", &JSONRPCRequest::params));
  }
  bool operator==(const JSONRPCRequest&) const = default;
};

struct JSONRPCErrorCode {
  JSONRPCErrorCode() = delete;
  static constexpr std::int64_t methodNotFound = -32601;
  static constexpr std::int64_t invalidParams = -32602;
  static constexpr std::int64_t internalError = -32603;
};

template <class Result>
struct JSONRPCResultEnvelope {
  std::string jsonrpc = "2.0";
  JSONValue id;
  Result result;

  static constexpr auto fields() {
    using namespace platform::json;
    using Envelope = JSONRPCResultEnvelope;
    return fieldList(field("jsonrpc", &Envelope::jsonrpc), field("id", &Envelope::id),
                     field("result", &Envelope::result));
  }
};

struct JSONRPCErrorEnvelope {
  struct ErrorBody {
    std::int64_t code = 0;
    std::string message;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("code", &ErrorBody::code), field("message", &ErrorBody::message));
    }
  };

  std::string jsonrpc = "2.0";
  JSONValue id;
  ErrorBody error;

  static constexpr auto fields() {
    using namespace platform::json;
    using Envelope = JSONRPCErrorEnvelope;
    return fieldList(field("jsonrpc", &Envelope::jsonrpc), field("id", &Envelope::id),
                     field("error", &Envelope::error));
  }
};

}  // namespace jamf
