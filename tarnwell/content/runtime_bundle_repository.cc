#include "tarnwell/content/detail/runtime_bundle_repository.h"

#include <utility>

#include <asio/use_awaitable.hpp>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/log.h"
#include "tarnwell/core/timestamp.h"

namespace tarnwell::detail {

namespace {

std::string orDefault(const std::optional<std::string>& value, std::string fallback) {
  return value && !value->empty() ? *value : std::move(fallback);
}

JSONObject knownVersionsPayload(const std::optional<RuntimeBundle>& cached) {
  JSONObject known;
  if (cached) {
    for (const auto& [kind, mark] : cached->versions) known.set(kind, JSONValue(mark));
  }
  return JSONObject{{"knownVersions", JSONValue(std::move(known))}};
}

// The server's marks when it sent any: texts as they are, numbers and bools through their
// text; otherwise the marks already held.
std::map<std::string, std::string> newVersions(const JSONObject& data, const std::optional<RuntimeBundle>& cached) {
  const JSONValue* sent = data.find("versions");
  if (sent == nullptr || !sent->isObject()) return cached ? cached->versions : std::map<std::string, std::string>{};
  std::map<std::string, std::string> versions;
  for (const auto& [kind, mark] : *sent->asObject()) {
    if (mark.isString() || mark.isNumber() || mark.isBool()) versions[kind] = *mark.stringifyScalar();
  }
  return versions;
}

bool saysNotModified(const JSONObject& data) {
  const JSONValue* flag = data.find("notModified");
  if (flag == nullptr) return false;
  if (const bool* value = flag->asBool()) return *value;
  const JSONString* text = flag->asString();
  return text != nullptr && text->view() == "true";
}

}  // namespace

RuntimeBundleRepository::RuntimeBundleRepository(RuntimeGatewayRepository gateway,
                                                 std::shared_ptr<AppwriteClient> client, KeyValueStore& store,
                                                 Clock& clock, std::shared_ptr<detail::BundleLoadGate> loads)
    : gateway_(std::move(gateway)),
      client_(std::move(client)),
      store_(store),
      clock_(clock),
      loads_(std::move(loads)) {}

std::string RuntimeBundleRepository::bundleCacheKey() const {
  return "tarnwell.runtimeBundle." + orDefault(client_->getTeamId(), "unknown_team") + "." +
         orDefault(client_->getEnvironment(), "production");
}

std::optional<RuntimeBundle> RuntimeBundleRepository::readCachedBundle() const {
  const std::optional<Bytes> stored = store_.getBytes(bundleCacheKey());
  if (!stored) return std::nullopt;
  try {
    return RuntimeBundle::decodeText(std::string_view(reinterpret_cast<const char*>(stored->data()), stored->size()));
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

void RuntimeBundleRepository::writeCachedBundle(const RuntimeBundle& bundle) const {
  try {
    const std::string json = bundle.encode().encode();
    store_.setBytes(bundleCacheKey(), asBytes(json));
  } catch (const EncodingError&) {
    // Nothing is stored; the previous entry keeps serving.
  }
}

bool RuntimeBundleRepository::isFresh(const std::optional<RuntimeBundle>& cached) const {
  return cached && !(toEpochSeconds(clock_.now()) - cached->loadedAt > kFreshForSeconds);
}

asio::awaitable<std::optional<RuntimeBundle>> RuntimeBundleRepository::loadBundle(bool force) {
  std::optional<RuntimeBundle> cached = readCachedBundle();
  if (!force && isFresh(cached)) co_return cached;
  if (force || !loads_) co_return co_await fetchBundle(std::move(cached));

  // Either another kind's load has just finished (its answer is in the store; only when it
  // failed does this one ask again, on its own), or this is the turn, and a load that finished
  // while this one waited may still have stored a fresh bundle.
  const bool mine = co_await loads_->awaitTurn(asio::use_awaitable);
  std::optional<detail::BundleLoadGate::Turn> turn;
  if (mine) turn.emplace(*loads_);
  cached = readCachedBundle();
  if (isFresh(cached)) co_return cached;
  co_return co_await fetchBundle(std::move(cached));
}

asio::awaitable<std::optional<RuntimeBundle>> RuntimeBundleRepository::fetchBundle(
    std::optional<RuntimeBundle> cached) {
  JSONObject data;
  try {
    data = co_await gateway_.execute("get_runtime_bundle", knownVersionsPayload(cached), true);
  } catch (const std::exception& error) {
    logError("Runtime bundle refresh failed", textualForm(error));
    co_return cached;
  }

  std::map<std::string, std::string> versions = newVersions(data, cached);
  if (cached && saysNotModified(data)) {
    cached->versions = std::move(versions);
    cached->loadedAt = toEpochSeconds(clock_.now());
    writeCachedBundle(*cached);
    co_return cached;
  }
  if (const JSONValue* items = data.find("items"); items != nullptr && items->isObject()) {
    RuntimeBundle fresh;
    fresh.versions = std::move(versions);
    fresh.loadedAt = toEpochSeconds(clock_.now());
    fresh.surveys = decodeSurveyList((*items)["surveys"]);
    fresh.announcements = decodeSurveyList((*items)["announcements"]);
    fresh.liveCards = decodeLiveCardList((*items)["liveCards"]);
    fresh.featureFlags = decodeFeatureFlagList((*items)["featureFlags"]);
    writeCachedBundle(fresh);
    co_return fresh;
  }
  // No usable answer: the old bundle as it was, so the next reader asks again.
  co_return cached;
}

}  // namespace tarnwell::detail
