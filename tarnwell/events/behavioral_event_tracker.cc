#include "tarnwell/events/detail/behavioral_event_tracker.h"

#include <limits>

#include "tarnwell/core/detail/text.h"

namespace tarnwell::detail {
namespace {

std::string normalizedName(std::string_view eventName) { return toLowerAscii(trimWhitespaceAndNewlines(eventName)); }

// "kind::identity::name" and the like; empty parts keep their place.
std::string joinKey(std::string_view kind, std::initializer_list<std::string_view> parts) {
  std::string key(kind);
  for (std::string_view part : parts) {
    key += "::";
    key += part;
  }
  return key;
}

}  // namespace

BehavioralEventTracker::BehavioralEventTracker(KeyValueStore& defaults, PropertyManager& propertyManager)
    : defaults_(defaults), propertyManager_(propertyManager) {}

std::string BehavioralEventTracker::identity() const { return propertyManager_.getDeliveryUserKey(); }

void BehavioralEventTracker::recordEvent(std::string_view eventName, Timestamp occurredAt) {
  const std::string name = normalizedName(eventName);
  if (name.empty()) return;
  const std::string who = identity();
  const std::string countKey = joinKey("count", {who, name});
  const std::int64_t count = defaults_.getInt64(countKey).value_or(0);
  defaults_.setInt64(countKey, count < std::numeric_limits<std::int64_t>::max() ? count + 1 : count);
  defaults_.setDouble(joinKey("last", {who, name}), toEpochSeconds(occurredAt));
}

std::int64_t BehavioralEventTracker::getEventCount(std::string_view eventName) const {
  const std::string name = normalizedName(eventName);
  if (name.empty()) return 0;
  return defaults_.getInt64(joinKey("count", {identity(), name})).value_or(0);
}

bool BehavioralEventTracker::wasMilestoneShown(std::string_view itemId, std::string_view eventName,
                                               std::int64_t count) const {
  const std::string name = normalizedName(eventName);
  if (name.empty() || count < 1) return false;
  return defaults_.getInt64(joinKey("milestone", {identity(), itemId, name})) == count;
}

void BehavioralEventTracker::markMilestoneShown(std::string_view itemId, std::string_view eventName,
                                                std::int64_t count) {
  const std::string name = normalizedName(eventName);
  if (name.empty() || count < 1) return;
  defaults_.setInt64(joinKey("milestone", {identity(), itemId, name}), count);
}

}  // namespace tarnwell::detail
