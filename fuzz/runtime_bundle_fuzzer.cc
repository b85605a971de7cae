// The runtime bundle as the device stores it: the input is the stored value. It must read the
// same through RuntimeBundle::decodeText and through the repository's cache, survive its own
// encoding, come back unchanged from a refresh that fails, and keep its content through a
// refresh the server answers "notModified".
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "fuzz/fuzz_support.h"
#include "tarnwell/content/detail/runtime_bundle_repository.h"
#include "tarnwell/core/timestamp.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell {
namespace {

void answerEveryRequest(testing::ScriptedHttpTransport& transport, int status, std::string body) {
  HttpResponse reply;
  reply.status = status;
  reply.body = std::move(body);
  transport.setResponder([reply](const HttpRequest&) { return HttpResult(reply); });
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  fuzz::silenceLog();
  const std::string_view stored = fuzz::asText(data, size);
  std::optional<RuntimeBundle> decoded;
  try {
    decoded = RuntimeBundle::decodeText(stored);
  } catch (const DecodingError&) {
    // A stored value that does not decode is no bundle; the cache must say the same below.
  }
  if (decoded) fuzz::requireRoundTrip(*decoded, "the runtime bundle");

  static const std::shared_ptr<detail::AppwriteClient> client = [] {
    auto made = std::make_shared<detail::AppwriteClient>("https://gateway.invalid/v1", "proj", "db", "fn");
    made->setTeamId("team_demo");
    made->setEnvironment("production");
    return made;
  }();
  MemoryKeyValueStore store;
  testing::VirtualClock clock;
  const auto transport = std::make_shared<testing::ScriptedHttpTransport>();
  detail::RuntimeBundleRepository bundles(detail::RuntimeGatewayRepository(client, transport), client, store, clock);
  store.setBytes(bundles.bundleCacheKey(), asBytes(stored));
  fuzz::require(bundles.readCachedBundle() == decoded, "the cache reads the stored value otherwise than decodeText");

  // Fresh or stale, a bundle whose refresh fails is served as it was stored.
  answerEveryRequest(*transport, 503, "unavailable");
  fuzz::require(fuzz::runToEnd(bundles.loadBundle(false)) == decoded, "a failed refresh changed the bundle");

  answerEveryRequest(*transport, 200, R"({"ok":true,"data":{"notModified":true}})");
  const std::optional<RuntimeBundle> confirmed = fuzz::runToEnd(bundles.loadBundle(true));
  fuzz::require(confirmed.has_value() == decoded.has_value(), "notModified invented or lost a bundle");
  if (confirmed) {
    RuntimeBundle expected = *decoded;
    expected.loadedAt = toEpochSeconds(clock.now());
    fuzz::require(*confirmed == expected, "notModified changed more than the bundle's stamp");
    fuzz::require(bundles.readCachedBundle() == confirmed, "the confirmed bundle does not read back from the store");
  }
  return 0;
}
