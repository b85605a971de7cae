#include "tarnwell/surveys/detail/delivery_checks.h"

#include <chrono>

#include "tarnwell/targeting/detail/rule_evaluation.h"

namespace tarnwell::detail {
namespace {

constexpr auto kShownGuard = std::chrono::seconds(86400);

bool countsMilestones(const BehavioralTriggerMatch& match) { return match.op == "equals" || match.op == "every_nth"; }

}  // namespace

asio::awaitable<std::optional<DeliveryVerdict>> checkSharedSteps(const DeliveryItem& item, std::string_view eventName,
                                                                 bool preview, const ShownTimestamps& shownAt,
                                                                 GuardExcuse excuse, DeliveryServices& services) {
  const Timestamp now = services.clock.now();
  if ((item.scheduleStart && now < *item.scheduleStart) || (item.scheduleEnd && now > *item.scheduleEnd)) {
    co_return DeliveryVerdict::schedule;
  }
  const SurveyTargeting* targeting = item.targeting ? &*item.targeting : nullptr;
  if (const auto shown = shownAt.find(item.idOrEmpty()); shown != shownAt.end() && now - shown->second < kShownGuard) {
    const bool excused = targeting != nullptr && (targeting->behavioralTrigger.has_value() ||
                                                  (excuse == GuardExcuse::triggerOrFrequency && targeting->frequency));
    if (!excused) co_return DeliveryVerdict::shownRecently;
  }
  if (targeting == nullptr) co_return DeliveryVerdict::eligible;

  if (targeting->segmentId) {
    if (std::optional<Segment> segment = co_await services.findSegment(*targeting->segmentId)) {
      if (!isInSegment(*segment, services.properties, services.sessions)) co_return DeliveryVerdict::segment;
    }
  }
  if (!targeting->rules.empty() &&
      !enabledRulesHold(targeting->rules, targeting->matchType, services.properties, services.sessions)) {
    co_return DeliveryVerdict::rules;
  }
  if (targeting->behavioralTrigger) {
    const BehavioralTrigger& trigger = *targeting->behavioralTrigger;
    const auto match = evaluateBehavioralTrigger(trigger, std::string(eventName), services.tracker, preview);
    if (match && countsMilestones(*match) && item.survey.id &&
        services.tracker.wasMilestoneShown(*item.survey.id, match->eventName, match->count)) {
      co_return DeliveryVerdict::milestone;
    }
    if (!match && trigger.enabled) co_return DeliveryVerdict::trigger;
  }
  co_return std::nullopt;
}

void markPresentedMilestone(const DeliveryItem& item, std::string_view triggerEvent, BehavioralEventTracker& tracker) {
  if (!item.survey.id || !item.targeting || !item.targeting->behavioralTrigger) return;
  const auto match =
      evaluateBehavioralTrigger(*item.targeting->behavioralTrigger, std::string(triggerEvent), tracker, false);
  if (match && countsMilestones(*match)) tracker.markMilestoneShown(*item.survey.id, match->eventName, match->count);
}

}  // namespace tarnwell::detail
