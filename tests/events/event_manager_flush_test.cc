#include "tarnwell/core/coding_error.h"
#include "tests/events/event_manager_fixture.h"

namespace tarnwell::detail {
namespace {

using testing::EventManagerTest;
using testing::numberedNames;
using Batches = std::vector<std::vector<std::string>>;

struct EventFlushTest : EventManagerTest {
  // Restores `count` queued events with the given batch size and bound; restoring starts no send.
  void restoreQueue(int count, std::int64_t batchSize, std::int64_t maxQueueSize = 500) {
    storeQueue(numberedNames(count));
    auto events = quietConfig();
    events.batchSize = batchSize;
    events.maxQueueSize = maxQueueSize;
    configure(events);
    ASSERT_EQ(queued(), static_cast<std::size_t>(std::min<std::int64_t>(count, maxQueueSize)));
    logs.clear();
  }
};

TEST_F(EventFlushTest, AnEmptyQueueFlushesAtOnceWithoutACall) {
  EXPECT_TRUE(flush(false));
  EXPECT_TRUE(flush(true));
  EXPECT_TRUE(transport->requests().empty());
}

TEST_F(EventFlushTest, AForcedFlushDrainsInBatchesInOrderOfAge) {
  restoreQueue(120, 50);
  answerAll(true);
  EXPECT_TRUE(flush(true));
  const auto names = numberedNames(120);
  EXPECT_EQ(sentNames(), (Batches{{names.begin(), names.begin() + 50},
                                  {names.begin() + 50, names.begin() + 100},
                                  {names.begin() + 100, names.end()}}));
  EXPECT_EQ(queued(), 0u);
  EXPECT_EQ(storedText(), std::nullopt);
}

TEST_F(EventFlushTest, AFailedSendPutsTheBatchBackAtTheFrontInOrder) {
  restoreQueue(5, 2);
  answerAll(false);
  EXPECT_FALSE(flush(false));
  EXPECT_EQ(sentNames(), (Batches{{"e0", "e1"}}));
  EXPECT_EQ(storedText(), arrayOf(numberedNames(5)));
  EXPECT_EQ(logs.lines(), std::vector<std::string>{
                              "[Tarnwell][ERROR] Failed to submit events :: TransportFailure(network: offline)"});

  // A forced drain that fails part-way keeps what was sent and puts back the failed batch.
  transport->enqueue(testing::httpResponse(R"({"ok":true})"));
  EXPECT_FALSE(flush(true));
  EXPECT_EQ(sentNames(), (Batches{{"e0", "e1"}, {"e0", "e1"}, {"e2", "e3"}}));
  EXPECT_EQ(storedText(), arrayOf({"e2", "e3", "e4"}));
}

TEST_F(EventFlushTest, AfterANonForcedFailureTheLoopWaitsForAnAdmission) {
  restoreQueue(5, 2);
  answerAll(false);
  EXPECT_FALSE(flush(false));
  answerAll(true);
  EXPECT_FALSE(flush(false));  // paused: no call
  EXPECT_EQ(transport->requests().size(), 1u);

  track("new");  // re-arms, and at the threshold starts a send of its own
  EXPECT_EQ(sentNames(), (Batches{{"e0", "e1"}, {"e0", "e1"}}));
  EXPECT_EQ(storedText(), arrayOf({"e2", "e3", "e4", "new"}));
  EXPECT_TRUE(flush(false));
  EXPECT_EQ(sentNames().back(), (std::vector<std::string>{"e2", "e3"}));
}

TEST_F(EventFlushTest, AForcedSuccessReArmsAndAForcedFailureLeavesThePauseAsItWas) {
  restoreQueue(5, 2);
  answerAll(false);
  EXPECT_FALSE(flush(true));  // forced failure: not paused
  answerAll(true);
  EXPECT_TRUE(flush(false));
  EXPECT_EQ(transport->requests().size(), 2u);

  answerAll(false);
  EXPECT_FALSE(flush(false));  // paused now
  EXPECT_FALSE(flush(true));   // a forced send goes out anyway, fails, and keeps the pause
  answerAll(true);
  EXPECT_FALSE(flush(false));
  EXPECT_EQ(transport->requests().size(), 4u);
  EXPECT_TRUE(flush(true));  // drains and re-arms
  EXPECT_EQ(queued(), 0u);
  track("a");
  EXPECT_TRUE(flush(false));
  EXPECT_EQ(sentNames().back(), (std::vector<std::string>{"a"}));
}

TEST_F(EventFlushTest, WhileASendIsUnderWayOtherFlushesAreRefusedAndAdmissionsQueueBehind) {
  restoreQueue(3, 2, 4);
  transport->holdResponses(true);
  std::future<bool> first = start(manager->flushEvents(false));
  ASSERT_EQ(transport->pendingCount(), 1u);
  EXPECT_EQ(storedText(), arrayOf({"e2"}));  // the batch lives only in memory now

  EXPECT_FALSE(flush(true));  // refused, not awaited
  EXPECT_FALSE(flush(false));
  trackAll({"n0", "n1", "n2"});  // the eager flushes these start are refused too
  EXPECT_EQ(transport->pendingCount(), 1u);
  EXPECT_EQ(queued(), 4u);

  transport->completeNext(TransportError{TransportErrorCode::network, "offline"});
  main.poll();
  ASSERT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_FALSE(first.get());
  // Six in memory, above the bound of 4 for a moment; the store holds the newest four.
  EXPECT_EQ(queued(), 6u);
  EXPECT_EQ(storedText(), arrayOf({"e2", "n0", "n1", "n2"}));
  EXPECT_EQ(transport->requests().size(), 1u);

  // The next admission trims to the bound (the three oldest go) and re-arms; its eager send
  // takes the first batch of what is left.
  track("n3");
  ASSERT_EQ(transport->pendingCount(), 1u);
  EXPECT_EQ(sentNames().back(), (std::vector<std::string>{"n0", "n1"}));
  EXPECT_EQ(queued(), 2u);
  transport->completeNext(TransportError{TransportErrorCode::network, "offline"});
  main.poll();
  EXPECT_EQ(queued(), 4u);
  EXPECT_EQ(storedText(), arrayOf({"n0", "n1", "n2", "n3"}));
}

TEST_F(EventFlushTest, ASuccessfulSendKeepsWhatArrivedMeanwhile) {
  restoreQueue(3, 2);
  transport->holdResponses(true);
  std::future<bool> sending = start(manager->flushEvents(true));
  track("n0");
  transport->holdResponses(false);
  answerAll(true);
  transport->completeNext(testing::httpResponse(R"({"ok":true})"));
  main.poll();
  EXPECT_TRUE(sending.get());
  // The forced flush went on with what remained, the newcomer included.
  EXPECT_EQ(sentNames(), (Batches{{"e0", "e1"}, {"e2", "n0"}}));
  EXPECT_EQ(queued(), 0u);
}

TEST_F(EventFlushTest, TheEagerFlushHoldsTheManagerWeakly) {
  answerAll(true);
  auto events = quietConfig();
  events.batchSize = 1;
  // Admits one event at the threshold on a strand of its own, so the test decides when the
  // eager send may start: after the owner has let the manager go, or while it still holds it.
  auto eagerSends = [&](bool releaseFirst) -> std::size_t {
    const std::size_t before = transport->requests().size();
    asio::io_context strandContext;
    auto keepPolling = asio::make_work_guard(strandContext);
    auto own = EventManager::create(
        strandContext.get_executor(),
        EventRepository(RuntimeGatewayRepository(client, transport), clock, uuids, std::nullopt), clock, store);
    std::future<void> admitted = asio::co_spawn(
        main.ioContext(),
        [&]() -> asio::awaitable<void> {
          co_await own->configure(events, {});
          co_await own->queueEvent(testing::namedEvent("a"));
        },
        asio::use_future);
    // The caller's side first; one strand step only when it has nothing to do.
    for (int step = 0; step < 20 && admitted.wait_for(std::chrono::seconds(0)) != std::future_status::ready; ++step) {
      if (main.poll() == 0) strandContext.poll_one();
    }
    EXPECT_EQ(admitted.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    std::weak_ptr<EventManager> watched = own;
    if (releaseFirst) {
      own.reset();
      EXPECT_TRUE(watched.expired());
    }
    strandContext.poll();
    main.poll();
    strandContext.poll();
    return transport->requests().size() - before;
  };
  EXPECT_EQ(eagerSends(false), 1u);
  EXPECT_EQ(eagerSends(true), 0u);
}

TEST_F(EventFlushTest, ClearQueueEmptiesTheStoreAndClearsBothFlags) {
  restoreQueue(3, 2);
  answerAll(false);
  EXPECT_FALSE(flush(false));
  run(manager->clearQueue());
  EXPECT_EQ(queued(), 0u);
  EXPECT_FALSE(run(manager->hasQueuedEvents()));
  EXPECT_EQ(storedText(), std::nullopt);

  // No longer paused: the next flush (of nothing) completes.
  EXPECT_TRUE(flush(false));
}

TEST_F(EventFlushTest, RestoreKeepsTheNewestAndHappensOnlyIntoAnEmptyQueue) {
  storeQueue(numberedNames(5));
  auto events = quietConfig();
  events.maxQueueSize = 3;
  configure(events);
  EXPECT_EQ(queued(), 3u);
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][INFO] Restored 3 queued event(s) from disk"});
  EXPECT_EQ(storedText(), arrayOf(numberedNames(5)));  // restoring writes nothing back

  answerAll(true);
  EXPECT_TRUE(flush(true));
  EXPECT_EQ(sentNames(), (Batches{{"e2", "e3", "e4"}}));

  track("a");
  storeQueue(numberedNames(2));
  configure(events);  // the queue holds "a": the store is not read
  EXPECT_EQ(queued(), 1u);
  EXPECT_EQ(logs.lines().size(), 1u);
}

// An unsigned 64-bit id among one event's properties must not make the stored queue undecodable,
// which would drop every other queued event at the next start.
TEST_F(EventFlushTest, AnEventCarryingANumberBeyondSixtyFourBitsSurvivesARestart) {
  configure(quietConfig());
  track("before");
  EventRecord large = testing::namedEvent("large");
  large.customProperties = JSONObject{{"account", 1.8446744073709552e19}, {"debt", -1.2345678901234567e19}};
  run(manager->queueEvent(large));

  manager = EventManager::create(
      main.ioContext().get_executor(),
      EventRepository(RuntimeGatewayRepository(client, transport), clock, uuids, std::nullopt), clock, store);
  logs.clear();
  configure(quietConfig());
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"[Tarnwell][INFO] Restored 2 queued event(s) from disk"});
  answerAll(true);
  EXPECT_TRUE(flush(true));
  EXPECT_EQ(sentNames(), (Batches{{"before", "large"}}));
  const JSONValue input = JSONValue::decode(*JSONValue::decode(transport->requests().at(0).body)["body"].asString());
  const JSONValue properties = JSONValue::decode(*input["payload"]["items"].asArray()->at(1)["properties"].asString());
  EXPECT_EQ(properties, JSONValue(large.customProperties));
}

TEST_F(EventFlushTest, AStoredQueueThatDoesNotDecodeIsRemoved) {
  for (const std::string& stored : {std::string("not json"), std::string(R"([{"eventName":"a"}])")}) {
    store.setBytes(EventManager::kQueueStorageKey, asBytes(stored));
    std::string reason;
    try {
      decodeEventArray(stored);
    } catch (const DecodingError& error) {
      reason = error.what();
    }
    ASSERT_FALSE(reason.empty());
    logs.clear();
    configure(quietConfig());
    EXPECT_EQ(logs.lines(),
              std::vector<std::string>{"[Tarnwell][ERROR] Failed to restore persisted event queue :: " + reason});
    EXPECT_EQ(store.get(EventManager::kQueueStorageKey), std::nullopt);
    EXPECT_EQ(queued(), 0u);
  }
}

}  // namespace
}  // namespace tarnwell::detail
