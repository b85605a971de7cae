// File: tarnwell/surveys/detail/delivery_checks.h
//
// The steps of the eligibility check that surveys and announcements share, in the order they
// run: the schedule window, the in-process 24-hour guard, targeting, segment, rules, and the
// behavioural trigger with its milestones. Surveys go on with their own steps afterwards.
//
//   std::optional<DeliveryVerdict> verdict =
//       co_await checkSharedSteps(item, "checkout", preview, shownAt, GuardExcuse::triggerOrFrequency, services);
//   if (!verdict) verdict = surveyOnlySteps(...);   // absent: nothing decided yet
//
// Runs on the main context; the one suspension is the segment lookup, which services run where
// they like. Decisions fail open: a targeting text that does not parse, or a segment that
// cannot be fetched, lifts the restriction. Never throws but std::bad_alloc.
#pragma once

#include <asio/awaitable.hpp>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "tarnwell/events/detail/behavioral_event_tracker.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/session_manager.h"
#include "tarnwell/platform/clock.h"
#include "tarnwell/surveys/delivery_verdict.h"
#include "tarnwell/surveys/detail/delivery_item.h"
#include "tarnwell/targeting/segment.h"

namespace tarnwell::detail {

// What a check reads besides the item itself.
struct DeliveryServices {
  // The segment of this id, absent when it is unknown or cannot be fetched.
  std::function<asio::awaitable<std::optional<Segment>>(std::string id)> findSegment;
  PropertyManager& properties;
  const SessionManager& sessions;
  BehavioralEventTracker& tracker;
  const Clock& clock;
};

// When each item was last presented in this process, by id ("" for an absent one).
using ShownTimestamps = std::unordered_map<std::string, Timestamp>;

// What lets an item shown less than 24 hours ago be checked again: surveys accept a frequency or
// a behavioural trigger (their later steps govern the repetition), announcements only a trigger.
enum class GuardExcuse { triggerOrFrequency, triggerOnly };

// The shared steps. A failing verdict; `eligible` when an absent targeting ends the check with a
// pass; absent when every shared step passed and the caller's own steps decide.
asio::awaitable<std::optional<DeliveryVerdict>> checkSharedSteps(const DeliveryItem& item, std::string_view eventName,
                                                                 bool preview, const ShownTimestamps& shownAt,
                                                                 GuardExcuse excuse, DeliveryServices& services);

// After a presentation: when the item's trigger fires for `triggerEvent` (no pending
// occurrence) by "equals" or "every_nth", remember that count as shown for the item.
void markPresentedMilestone(const DeliveryItem& item, std::string_view triggerEvent, BehavioralEventTracker& tracker);

}  // namespace tarnwell::detail
