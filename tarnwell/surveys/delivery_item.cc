#include "tarnwell/surveys/detail/delivery_item.h"

#include <algorithm>

#include "tarnwell/core/constants.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/core/iso8601.h"

namespace tarnwell::detail {

std::string normalizeEventName(std::string_view name) {
  std::string normalized = toLowerAscii(trimWhitespaceAndNewlines(name));
  std::replace(normalized.begin(), normalized.end(), '-', '_');
  std::replace(normalized.begin(), normalized.end(), ' ', '_');
  return normalized;
}

std::uint32_t fnv1a32(std::string_view text) noexcept {
  std::uint32_t hash = 0x811C9DC5u;
  for (const char c : text) {
    hash ^= static_cast<std::uint8_t>(c);
    hash *= 16777619u;
  }
  return hash;
}

DeliveryItem::DeliveryItem(Survey record)
    : survey(std::move(record)),
      targeting(survey.targeting()),
      scheduleStart(parseISO8601Date(survey.scheduleStart)),
      scheduleEnd(parseISO8601Date(survey.scheduleEnd)),
      isPublished(survey.status == Constants::surveyStatusPublished) {
  triggerNames[0] = normalizeEventName(survey.eventTriggerId.value_or(""));
  if (targeting && targeting->behavioralTrigger && targeting->behavioralTrigger->eventName) {
    triggerNames[1] = normalizeEventName(*targeting->behavioralTrigger->eventName);
  }
  if (targeting && targeting->triggerCountRule && targeting->triggerCountRule->eventName) {
    triggerNames[2] = normalizeEventName(*targeting->triggerCountRule->eventName);
  }
}

const std::string& DeliveryItem::idOrEmpty() const noexcept {
  static const std::string empty;
  return survey.id ? *survey.id : empty;
}

DeliveryList makeDeliveryList(std::vector<Survey> records) {
  std::vector<DeliveryItem> items;
  items.reserve(records.size());
  for (Survey& record : records) items.emplace_back(std::move(record));
  return std::make_shared<const std::vector<DeliveryItem>>(std::move(items));
}

}  // namespace tarnwell::detail
