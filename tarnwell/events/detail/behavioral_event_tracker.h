// File: tarnwell/events/detail/behavioral_event_tracker.h
//
// BehavioralEventTracker counts on the device how often each event occurred for the current
// user, and remembers at which count an item (a survey, an announcement) was last shown for an
// event, so a trigger can fire on the third occurrence without asking the backend. It sees every
// tracked event, also those that sampling or the rate limit keep from the backend.
//
//   BehavioralEventTracker tracker(store, properties);
//   tracker.recordEvent("  Checkout_Started\n", clock.now());   // counts as "checkout_started"
//   if (tracker.getEventCount("checkout_started") == 3 &&
//       !tracker.wasMilestoneShown("survey_1", "checkout_started", 3)) {
//     show();
//     tracker.markMilestoneShown("survey_1", "checkout_started", 3);
//   }
//
// Data live in the store under "count::" + identity + "::" + name (integer), "last::" + identity
// + "::" + name (seconds since 1970, written for the record) and "milestone::" + identity + "::"
// + itemId + "::" + name (integer). The identity is the profile id, else the identified user,
// else the anonymous id, so a new profile starts fresh counts and the old ones stay behind. Names
// are trimmed of white space and lower-cased (ASCII letters); an empty name is never recorded.
//
// Threads: meant for the main context. Each store call is atomic but a read and the write that
// follows are not one step, so two threads counting the same event at once may lose a count.
// Nothing throws but std::bad_alloc; a count saturates instead of overflowing.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <tarnwell/core/timestamp.h>
#include <tarnwell/platform/key_value_store.h>
#include "tarnwell/identity/detail/property_manager.h"

namespace tarnwell::detail {

class BehavioralEventTracker {
 public:
  BehavioralEventTracker(KeyValueStore& defaults, PropertyManager& propertyManager);

  // Adds one to the event's count and stamps its time.
  void recordEvent(std::string_view eventName, Timestamp occurredAt);
  // 0 for an empty name or an event never recorded.
  std::int64_t getEventCount(std::string_view eventName) const;
  // True exactly when the last milestone marked for the item and event is `count`; only the
  // last one is remembered. False for an empty name or a count below 1.
  bool wasMilestoneShown(std::string_view itemId, std::string_view eventName, std::int64_t count) const;
  // Remembers `count` as the item's last milestone for the event, replacing the one before.
  // Does nothing for an empty name or a count below 1.
  void markMilestoneShown(std::string_view itemId, std::string_view eventName, std::int64_t count);

 private:
  std::string identity() const;

  KeyValueStore& defaults_;
  PropertyManager& propertyManager_;
};

}  // namespace tarnwell::detail
