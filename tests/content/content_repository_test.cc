// The read path every content repository shares, run for each of the four: the stored bundle,
// then the repository's own list action, then an empty list and its ERROR line.
#include <gtest/gtest.h>

#include "tarnwell/announcements/detail/announcement_repository.h"
#include "tarnwell/flags/detail/feature_flag_repository.h"
#include "tarnwell/livecards/detail/live_card_repository.h"
#include "tarnwell/platform/main_context.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/surveys/detail/survey_repository.h"
#include "tarnwell/testing/log_recorder.h"
#include "tarnwell/testing/virtual_clock.h"
#include "tests/support/run_sync.h"
#include "tests/support/scripted_gateway.h"

namespace tarnwell::detail {
namespace {

using detail::AnnouncementRepository;
using detail::SurveyRepository;

using testing::answerData;
using testing::answerStatus;
using testing::sentInput;

struct Fixture {
  MemoryKeyValueStore store;
  testing::VirtualClock clock;
  MainContext main{MainContext::Mode::hostPumped};
  std::shared_ptr<AppwriteClient> client = std::make_shared<AppwriteClient>("https://gw.test/v1", "p", "d", "fn");
  std::shared_ptr<testing::ScriptedHttpTransport> transport = std::make_shared<testing::ScriptedHttpTransport>();
  RuntimeTelemetryBatcher telemetry{client, transport,
                                    RuntimeTelemetryQueue::create(store, clock, main.ioContext().get_executor())};
  RuntimeGatewayRepository gateway() { return RuntimeGatewayRepository(client, transport); }
  RuntimeBundleRepository bundles() { return RuntimeBundleRepository(gateway(), client, store, clock); }
};

// One repository kind: how to build it and read through it, and what its sources look like.
struct SurveysKind {
  static constexpr std::string_view action = "get_surveys", bundleKey = "surveys", failure = "Failed to fetch surveys";
  static constexpr std::string_view good = R"({"$id":"a"})", bad = R"({"$id":1})";
  static SurveyRepository make(Fixture& f) { return {f.gateway(), f.bundles()}; }
  static auto read(SurveyRepository& r) { return r.getSurveys(); }
};
struct AnnouncementsKind {
  static constexpr std::string_view action = "get_announcements_banners", bundleKey = "announcements",
                                    failure = "Failed to fetch announcement banners";
  static constexpr std::string_view good = R"({"$id":"a"})", bad = R"({"name":false})";
  static AnnouncementRepository make(Fixture& f) { return {f.gateway(), f.bundles()}; }
  static auto read(AnnouncementRepository& r) { return r.getAnnouncements(); }
};
struct LiveCardsKind {
  static constexpr std::string_view action = "get_live_cards", bundleKey = "liveCards",
                                    failure = "Failed to fetch live cards";
  static constexpr std::string_view good = R"({"$id":"a","impressionCount":0,"tapCount":0,"version":1,"priority":0})";
  static constexpr std::string_view bad = R"({"$id":"b","impressionCount":0,"tapCount":0,"version":1})";
  static LiveCardRepository make(Fixture& f) { return {f.gateway(), f.bundles(), f.telemetry}; }
  static auto read(LiveCardRepository& r) { return r.getLiveCards(); }
};
struct FeatureFlagsKind {
  static constexpr std::string_view action = "get_feature_flags", bundleKey = "featureFlags",
                                    failure = "Failed to fetch feature flags";
  static constexpr std::string_view good = R"({"$id":"a","key":"k"})", bad = R"({"key":7})";
  static FeatureFlagRepository make(Fixture& f) { return {f.gateway(), f.bundles(), f.telemetry}; }
  static auto read(FeatureFlagRepository& r) { return r.getFeatureFlags(); }
};

template <typename Kind>
struct ContentRepositoryTest : ::testing::Test {
  Fixture f;
  testing::LogRecorder log;
  decltype(Kind::make(f)) repository = Kind::make(f);
  auto read() { return testing::runSync(Kind::read(repository)); }
  std::string action(std::size_t i) { return *sentInput(*f.transport, i)["action"].stringValue(); }
};

using Kinds = ::testing::Types<SurveysKind, AnnouncementsKind, LiveCardsKind, FeatureFlagsKind>;
TYPED_TEST_SUITE(ContentRepositoryTest, Kinds);

TYPED_TEST(ContentRepositoryTest, ABundleAnswersAndItsEmptyListIsFinal) {
  answerData(*this->f.transport,
             R"({"items":{")" + std::string(TypeParam::bundleKey) + R"(":[)" + std::string(TypeParam::good) + "]}}");
  EXPECT_EQ(this->read().size(), 1u);
  this->f.store.remove(this->f.bundles().bundleCacheKey());
  answerData(*this->f.transport, R"({"items":{}})");
  EXPECT_TRUE(this->read().empty());
  EXPECT_EQ(this->f.transport->requests().size(), 2u);  // no list action after either bundle
}

TYPED_TEST(ContentRepositoryTest, WithoutABundleTheListActionAnswersAndOneBadRecordFailsIt) {
  answerData(*this->f.transport, R"({"notModified":true})");  // no stored bundle: no bundle at all
  answerData(*this->f.transport, R"({"items":[)" + std::string(TypeParam::good) + "]}");
  EXPECT_EQ(this->read().size(), 1u);
  EXPECT_EQ(this->action(1), TypeParam::action);
  EXPECT_EQ(sentInput(*this->f.transport, 1)["payload"].encode(), "{}");

  answerStatus(*this->f.transport, 502);
  answerData(*this->f.transport,
             R"({"items":[)" + std::string(TypeParam::good) + "," + std::string(TypeParam::bad) + "]}");
  EXPECT_TRUE(this->read().empty());
  ASSERT_EQ(this->log.lines().size(), 2u);  // the bundle's failure, then the list's
  EXPECT_EQ(this->log.lines().at(1).rfind("[Tarnwell][ERROR] " + std::string(TypeParam::failure) + " :: ", 0), 0u);
}

}  // namespace
}  // namespace tarnwell::detail
