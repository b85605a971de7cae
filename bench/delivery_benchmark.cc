// What deciding one tracked event costs the main context: the survey and announcement managers
// over a bundle of 200 surveys and 50 announcements, 20 of the surveys candidates of the event
// with five rules each, beside evaluating those 20 candidates' already-parsed targeting (rules,
// trigger, frequency) by hand. Also what trackEvent costs the host's calling thread with and
// without those surveys.
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <future>
#include <string>

#include "bench/delivery_world.h"
#include "bench/ratio_reporter.h"
#include "tarnwell/announcements/detail/announcement_manager.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/sdk/facade.h"
#include "tarnwell/surveys/detail/survey_manager.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"
#include "tarnwell/testing/scripted_http_transport.h"
#include "tarnwell/testing/virtual_clock.h"

namespace {

using namespace tarnwell;
using namespace tarnwell::detail;

constexpr int kCandidates = 20;

// Five rules that hold for the benchmark's user, an enabled trigger that fires, and an
// impression limit the ledger has reached, so every candidate is checked up to its last step.
std::string targetingFor(const std::string& event) {
  return R"({"rules":)" + bench::fiveRulesThatHold() +
         R"(,"audience":"all","percentage":100,)"
         R"("behavioralTrigger":{"enabled":true,"eventName":")" +
         event +
         R"(","count":1,"operator":"greater_than_equals"},)"
         R"("frequency":{"maxImpressions":1}})";
}

Survey item(const std::string& id, const std::string& trigger, const std::string& targeting) {
  Survey survey;
  survey.id = id;
  survey.name = "Survey " + id;
  survey.status = "published";
  survey.eventTriggerId = trigger;
  survey.targetingJSON = targeting;
  return survey;
}

std::string logQuietly() {
  setLogSink([](LogLevel, std::string_view) {});
  return {};
}

RuntimeBundle benchBundle() {
  RuntimeBundle bundle;
  for (int i = 0; i < 200; ++i) {
    const std::string event = i < kCandidates ? "checkout" : "other_" + std::to_string(i);
    bundle.surveys.push_back(item("s" + std::to_string(i), event, targetingFor(event)));
  }
  for (int i = 0; i < 50; ++i)
    bundle.announcements.push_back(item("a" + std::to_string(i), "promo", targetingFor("promo")));
  return bundle;
}

struct Delivery : bench::DeliveryWorld {
  std::unique_ptr<SurveyManager> surveys;
  std::unique_ptr<AnnouncementManager> announcements;
  std::vector<SurveyTargeting> parsed;

  Delivery() {
    RuntimeBundle bundle = benchBundle();
    storeFresh(bundle);
    surveys = std::make_unique<SurveyManager>(parts(), SurveyRepository(gateway(), bundles()), store);
    announcements = std::make_unique<AnnouncementManager>(parts(), AnnouncementRepository(gateway(), bundles()));
    run(surveys->refresh());
    run(announcements->refresh());
    for (int i = 0; i < kCandidates; ++i) {
      SurveyDeliveryLedger(store, properties).recordPresentation("s" + std::to_string(i), clock.now());
      parsed.push_back(*bundle.surveys[static_cast<std::size_t>(i)].targeting());
    }
    tracker.recordEvent("checkout", clock.now());
  }
};

Delivery& delivery() {
  static Delivery instance;
  return instance;
}

void BM_ParsedTargetingOfTwentyCandidates(benchmark::State& state) {
  Delivery& d = delivery();
  const SurveyDeliveryLedger ledger(d.store, d.properties);
  for (auto _ : state) {
    int eligible = 0;
    for (int i = 0; i < kCandidates; ++i) {
      const SurveyTargeting& targeting = d.parsed[static_cast<std::size_t>(i)];
      const bool passes =
          enabledRulesHold(targeting.rules, targeting.matchType, d.properties, d.sessions) &&
          evaluateBehavioralTrigger(*targeting.behavioralTrigger, std::string("checkout"), d.tracker, false) &&
          ledger.entry("s" + std::to_string(i)).impressions < *targeting.frequency->maxImpressions;
      eligible += passes;
    }
    benchmark::DoNotOptimize(eligible);
  }
}
BENCHMARK(BM_ParsedTargetingOfTwentyCandidates);

void BM_DecideOneTrackedEvent(benchmark::State& state) {
  Delivery& d = delivery();
  for (auto _ : state) {
    d.run(d.surveys->onEventTriggered("checkout"));
    d.run(d.announcements->onEventTriggered("checkout"));
  }
  if (d.surveys->current().value()) state.SkipWithError("a candidate passed: the decision stopped early");
}
BENCHMARK(BM_DecideOneTrackedEvent);

constexpr const char* kBootstrap =
    R"({"ok":true,"data":{"config":{"organizationId":"o","projectId":"p","appId":"a","teamId":"t","apiKeyId":"k"},)"
    R"("sessionToken":"tok"}})";

// A ready SDK on its own main thread whose gateway answers at once, with or without the bundle.
Tarnwell& readySdk(bool withSurveys) {
  auto make = [](bool surveys) {
    logQuietly();
    std::string bundleReply = R"({"ok":true,"data":{}})";
    if (surveys) {
      RuntimeBundle bundle = benchBundle();
      JSONArray items;
      for (const Survey& survey : bundle.surveys) items.push_back(survey.encode());
      JSONArray notices;
      for (const Survey& notice : bundle.announcements) notices.push_back(notice.encode());
      bundleReply =
          JSONValue(JSONObject{{"ok", true},
                               {"data", JSONObject{{"versions", JSONObject{{"surveys", "1"}}},
                                                   {"items", JSONObject{{"surveys", std::move(items)},
                                                                        {"announcements", std::move(notices)}}}}}})
              .encode();
    }
    auto transport = std::make_shared<testing::ScriptedHttpTransport>();
    transport->setResponder([bundleReply](const HttpRequest& request) {
      HttpResponse response;
      response.status = 200;
      response.body = request.body.find("bootstrap") != std::string::npos            ? kBootstrap
                      : request.body.find("get_runtime_bundle") != std::string::npos ? bundleReply
                                                                                     : R"({"ok":true,"data":{}})";
      return HttpResult(response);
    });
    HostOptions options;
    options.store = std::make_shared<MemoryKeyValueStore>();
    options.transport = transport;
    auto* instance = new Tarnwell(std::move(options));
    std::promise<void> ready;
    TarnwellSDKConfig config;
    config.apiKey = "k";
    config.environment = "production";
    config.appwrite = {"https://gateway.bench/v1", "p", "d", "f", std::nullopt, std::nullopt};
    instance->initialize(config, [&](const SDKState&) { ready.set_value(); });
    ready.get_future().wait();
    return instance;
  };
  static Tarnwell* plain = make(false);
  static Tarnwell* withBundle = make(true);
  return withSurveys ? *withBundle : *plain;
}

void trackCheckouts(benchmark::State& state, bool withSurveys) {
  Tarnwell& sdk = readySdk(withSurveys);
  for (auto _ : state) sdk.trackEvent("checkout", JSONObject{{"amount", 9.99}, {"items", 3}}, "commerce");
  // Let the main context catch up before the next measurement.
  std::promise<void> drained;
  sdk.trackEvent("drain", {}, {}, [&] { drained.set_value(); });
  drained.get_future().wait();
}

void BM_TrackEventWithoutSurveys(benchmark::State& state) { trackCheckouts(state, false); }
// A fixed count: each call leaves the main context a decision to make, and the drain waits for all.
BENCHMARK(BM_TrackEventWithoutSurveys)->Iterations(20000);

void BM_TrackEventWithTheSurveys(benchmark::State& state) { trackCheckouts(state, true); }
BENCHMARK(BM_TrackEventWithTheSurveys)->Iterations(20000);

}  // namespace

int main(int argc, char** argv) {
  return bench::runWithRatios(
      argc, argv,
      {{"BM_DecideOneTrackedEvent", "BM_ParsedTargetingOfTwentyCandidates", 1.5},
       {"BM_TrackEventWithTheSurveys/iterations:20000", "BM_TrackEventWithoutSurveys/iterations:20000", 0}});
}
