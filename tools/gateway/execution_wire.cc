#include "tools/gateway/execution_wire.h"

#include <simdjson.h>

#include <algorithm>
#include <cctype>

#include <tarnwell/core/coding_error.h>
#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/platform/detail/uuid.h"

namespace tarnwell::gateway {
namespace {

struct ExecutionBody {
  std::string body;
  std::optional<bool> async;
  std::optional<std::string> path;
  std::optional<std::string> method;
};

struct GatewayInput {
  std::string action;
  std::optional<JSONObject> payload;
  std::optional<std::string> sessionToken;
};

}  // namespace
}  // namespace tarnwell::gateway

namespace tarnwell::detail {

template <>
struct RecordFields<gateway::ExecutionBody> {
  using Body = gateway::ExecutionBody;
  static constexpr auto fields = std::make_tuple(field(&Body::body, "body"), field(&Body::async, "async"),
                                                 field(&Body::path, "path"), field(&Body::method, "method"));
};

template <>
struct RecordFields<gateway::GatewayInput> {
  using Input = gateway::GatewayInput;
  static constexpr auto fields = std::make_tuple(field(&Input::action, "action"), field(&Input::payload, "payload"),
                                                 field(&Input::sessionToken, "sessionToken"));
};

}  // namespace tarnwell::detail

namespace tarnwell::gateway {
namespace {

template <typename Record>
Record decodeText(std::string_view text, std::string_view what) {
  try {
    return detail::decodeRecord<Record>(JSONValue::decode(text));
  } catch (const DecodingError& error) {
    throw BadRequest(std::string(what) + ": " + error.what());
  }
}

// The text of the "payload" object in `input`, a gateway input already read as JSON. Of duplicate
// keys the last wins, as it does when the input is decoded; a payload that is no object counts as
// none.
std::string payloadTextOf(std::string_view input) {
  const auto unreadable = [] { return BadRequest("Invalid gateway input in \"body\": the payload cannot be read"); };
  simdjson::ondemand::parser parser;
  const simdjson::padded_string padded(input);
  simdjson::ondemand::document document;
  simdjson::ondemand::object members;
  if (parser.iterate(padded).get(document) || document.get_object().get(members)) {
    throw unreadable();
  }
  std::string_view text = "{}";
  for (auto member : members) {
    std::string_view key;
    simdjson::ondemand::value value;
    if (member.unescaped_key().get(key) || member.value().get(value)) throw unreadable();
    if (key != "payload") continue;
    simdjson::ondemand::json_type type;
    if (value.type().get(type)) throw unreadable();
    text = "{}";
    if (type != simdjson::ondemand::json_type::object) continue;
    simdjson::ondemand::object payload;
    if (value.get_object().get(payload) || payload.raw_json().get(text)) throw unreadable();
    // simdjson's span runs on to the next token; the object ends at its brace.
    text = text.substr(0, text.find_last_of('}') + 1);
  }
  return std::string(text);
}

}  // namespace

ExecutionRequest parseExecutionRequest(std::string_view body) {
  const auto execution = decodeText<ExecutionBody>(body, "Invalid function execution");
  if (execution.async.value_or(false)) {
    throw BadRequest("Asynchronous executions are not supported by the local gateway");
  }
  auto input = decodeText<GatewayInput>(execution.body, "Invalid gateway input in \"body\"");
  return {.action = std::move(input.action),
          .payload = JSONValue(input.payload.value_or(JSONObject{})),
          .sessionToken = std::move(input.sessionToken),
          .method = execution.method.value_or("POST"),
          .path = execution.path.value_or("/"),
          .payloadText = payloadTextOf(execution.body)};
}

std::string backendId() {
  std::string id = detail::makeUuid();
  id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
  std::transform(id.begin(), id.end(), id.begin(), [](unsigned char c) { return std::tolower(c); });
  return id.substr(0, 20);
}

std::string encodeExecutionRecord(const ExecutionRecord& record, const ExecutionRequest& request) {
  return JSONValue(JSONObject{{"$id", record.id},
                              {"$createdAt", record.createdAt},
                              {"$updatedAt", record.createdAt},
                              {"$permissions", JSONArray{}},
                              {"functionId", record.functionId},
                              {"trigger", "http"},
                              {"status", "completed"},
                              {"requestMethod", request.method},
                              {"requestPath", request.path},
                              {"requestHeaders", JSONArray{}},
                              {"responseStatusCode", 200},
                              {"responseBody", record.responseBody},
                              {"responseHeaders", JSONArray{}},
                              {"logs", ""},
                              {"errors", ""},
                              {"duration", 0}})
      .encode();
}

std::string errorBody(int code, std::string_view type, std::string_view message) {
  return JSONValue(JSONObject{{"message", message}, {"code", code}, {"type", type}}).encode();
}

}  // namespace tarnwell::gateway
