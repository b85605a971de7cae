// Answering gateway calls through a testing::ScriptedHttpTransport, and reading back what was sent:
// the envelope's "data" on the way in, the execution's action and payload on the way out.
#pragma once

#include <string>
#include <string_view>

#include "tarnwell/core/json_value.h"
#include "tarnwell/testing/scripted_http_transport.h"

namespace tarnwell::testing {

// An HTTP answer with `body` and `status`.
inline HttpResponse httpResponse(std::string_view body, int status = 200) {
  HttpResponse response;
  response.status = status;
  response.body = std::string(body);
  return response;
}

// Queues one successful gateway reply: {"ok":true,"data":<data>}.
inline void answerData(testing::ScriptedHttpTransport& transport, std::string_view data) {
  transport.enqueue(httpResponse(R"({"ok":true,"data":)" + std::string(data) + "}"));
}

// Queues one failed HTTP exchange with `status`.
inline void answerStatus(testing::ScriptedHttpTransport& transport, int status) {
  transport.enqueue(httpResponse("unavailable", status));
}

// The gateway input ({"action", "payload", "sessionToken"}) of the i-th request.
inline JSONValue sentInput(const testing::ScriptedHttpTransport& transport, std::size_t i) {
  const JSONValue execution = JSONValue::decode(transport.requests().at(i).body);
  return JSONValue::decode(execution["body"].asString()->view());
}

}  // namespace tarnwell::testing
