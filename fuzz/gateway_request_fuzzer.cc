// A function execution body as the local gateway receives it, through the parsing its server
// uses and the action it names, against a fresh in-memory store. Only BadRequest may refuse a
// body: a handler that throws is answered with HTTP 500, which the gateway keeps for its own
// bugs. Whatever it answers must reach the SDK intact inside the execution record.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/core/iso8601.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tools/gateway/actions.h"
#include "tools/gateway/execution_wire.h"

namespace tarnwell::gateway {
namespace {

// One key for debug and production, and one document in each content section.
constexpr std::string_view kContent = R"({"projectId":"proj-local","functionId":"fn-gateway","apiKeys":[
  {"key":"key-good","organizationId":"org-1","projectId":"proj-1","appId":"app-1","teamId":"team-1",
   "apiKeyId":"kid-1","environments":["debug","production"],"runtimeConfig":{"events":{"batchSize":7}}}],
 "featureFlags":[{"$id":"f1","key":"checkout_flow","defaultValue":"classic","status":"active"}],
 "segments":[{"id":"seg_pro","name":"Pro",
               "conditions":"[{\"field\":\"plan\",\"operator\":\"equals\",\"value\":\"pro\"}]"}],
 "surveys":[{"$id":"s1","name":"NPS","status":"published"}],
 "announcements":[{"$id":"a1","name":"Offline sync","status":"published"}],
 "liveCards":[{"$id":"c1","impressionCount":0,"tapCount":0,"version":1,"priority":0}]})";

// The session a bootstrap of "key-good" would have issued; seeds send its token.
const GatewaySession kSession{
    "gst_fuzz", "key-good", "org-1", "proj-1", "app-1", "team-1", "kid-1", "production", "2026-01-01T00:00:00.000Z"};

}  // namespace
}  // namespace tarnwell::gateway

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  using namespace tarnwell::gateway;
  static const GatewayContent content = GatewayContent::parse(kContent);
  static const ActionTable actions = standardActions();
  static testing::VirtualClock clock;

  ExecutionRequest request;
  try {
    request = parseExecutionRequest(fuzz::asText(data, size));
  } catch (const BadRequest&) {
    return 0;
  }
  fuzz::require(request.payload.isObject(), "a parsed payload is not an object");

  // A store per input, so an answer depends on its input alone.
  GatewayStore store(":memory:");
  store.rememberSession(kSession);
  const ActionCall call{request.action, request.payload, request.sessionToken,
                        request.sessionToken ? store.findSession(*request.sessionToken) : std::nullopt};
  ActionContext context{content, store, clock};
  const ActionReply reply = dispatchAction(actions, context, call);
  fuzz::require(actions.contains(request.action) || (!reply.ok && reply.error == "Unknown action: " + request.action),
                "an action without a handler answered");

  const std::string envelope = reply.envelope().encode();
  const ExecutionRecord record{"0123456789abcdef0123", content.functionId, formatISO8601Date(clock.now()), envelope};
  if (detail::unwrapExecutionBody(encodeExecutionRecord(record, request)) != envelope) {
    fuzz::fail("the SDK does not read back the envelope inside the execution record: " + envelope);
  }
  return 0;
}
