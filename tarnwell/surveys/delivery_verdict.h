// File: tarnwell/surveys/delivery_verdict.h
//
// Why a survey or announcement was or was not shown for an event: the step of the eligibility
// check that decided, for hosts that ask "why did my survey not show?".
//
//   sdk.explainSurvey("checkout_completed", [](std::vector<DeliveryExplanation> candidates) {
//     for (const auto& c : candidates) std::cout << c.itemId.value_or("?") << ' '
//                                                << deliveryVerdictWord(c.verdict) << '\n';
//   });
//
// The steps are listed in the order the check runs them; the first one that fails decides.
// Announcements run only schedule, shown_recently, segment, rules, trigger and milestone.
// Plain values, safe on any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/export.h>

namespace tarnwell {

enum class DeliveryVerdict {
  schedule,       // outside scheduleStart .. scheduleEnd
  shownRecently,  // presented less than 24 hours ago in this process, and nothing excuses it
  segment,        // the user is not in the item's segment
  rules,          // the targeting rules do not hold
  trigger,        // an enabled behavioural trigger does not fire for this event
  milestone,      // the trigger fired, but at a count the item was already shown for
  triggerCount,   // the trigger count rule is not met
  frequency,      // the delivery ledger's limits (once per user, dismissals, impressions, cooldown)
  sampling,       // the user's sampling bucket lies outside the percentage
  eligible,       // every step passed
};

// "schedule", "shown_recently", "segment", "rules", "trigger", "milestone", "trigger_count",
// "frequency", "sampling", "eligible".
TARNWELL_API std::string_view deliveryVerdictWord(DeliveryVerdict verdict) noexcept;

// One candidate of an event, in decision order, with the step that decided it.
struct DeliveryExplanation {
  std::optional<std::string> itemId;
  DeliveryVerdict verdict = DeliveryVerdict::eligible;

  friend bool operator==(const DeliveryExplanation&, const DeliveryExplanation&) = default;
};

}  // namespace tarnwell
