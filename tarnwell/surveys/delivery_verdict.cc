#include "tarnwell/surveys/delivery_verdict.h"

namespace tarnwell {

std::string_view deliveryVerdictWord(DeliveryVerdict verdict) noexcept {
  switch (verdict) {
    case DeliveryVerdict::schedule: return "schedule";
    case DeliveryVerdict::shownRecently: return "shown_recently";
    case DeliveryVerdict::segment: return "segment";
    case DeliveryVerdict::rules: return "rules";
    case DeliveryVerdict::trigger: return "trigger";
    case DeliveryVerdict::milestone: return "milestone";
    case DeliveryVerdict::triggerCount: return "trigger_count";
    case DeliveryVerdict::frequency: return "frequency";
    case DeliveryVerdict::sampling: return "sampling";
    case DeliveryVerdict::eligible: return "eligible";
  }
  return "eligible";
}

}  // namespace tarnwell
