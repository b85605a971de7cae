// File: tools/gateway/execution_wire.h
//
// The HTTP face of a gateway call. The SDK posts a function execution,
//
//   {"body": "{\"action\":\"bootstrap\",\"payload\":{...}}", "async": false,
//    "path": "/", "method": "POST"}
//
// whose "body" is the gateway input as one JSON string; the hosted backend answers with an
// execution record whose "responseBody" holds the gateway envelope. Errors of the HTTP layer
// (wrong project, unknown function, bad body) are small JSON objects in the backend's style:
// {"message":"...","code":401,"type":"user_unauthorized"}.
//
// Pure functions: any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/bad_request.h"

namespace tarnwell::gateway {

struct ExecutionRequest {
  std::string action;
  JSONValue payload;  // an object; {} when the input has none
  std::optional<std::string> sessionToken;
  std::string method;  // "POST" unless the execution names another
  std::string path;    // "/" unless the execution names another
  // The payload's JSON text as it stands in the input, byte for byte, for actions that keep what
  // the device sent exactly; "{}" when the input has none.
  std::string payloadText;
};

// Throws BadRequest for a body that is not a function execution of a gateway input.
ExecutionRequest parseExecutionRequest(std::string_view body);

struct ExecutionRecord {
  std::string id;
  std::string functionId;
  std::string createdAt;  // ISO 8601
  std::string responseBody;
};

// An id as the backend makes them for documents and executions: 20 lower-case hex digits.
std::string backendId();

// The completed execution record the hosted backend answers with, as JSON text.
std::string encodeExecutionRecord(const ExecutionRecord& record, const ExecutionRequest& request);

// {"message": message, "code": code, "type": type} as JSON text.
std::string errorBody(int code, std::string_view type, std::string_view message);

}  // namespace tarnwell::gateway
