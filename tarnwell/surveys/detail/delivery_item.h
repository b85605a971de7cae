// File: tarnwell/surveys/detail/delivery_item.h
//
// A survey or announcement as delivery reads it: the record with its targeting and schedule
// parsed once, when the list arrives, instead of on every event. The record never changes
// after that, so the readings can never disagree with its texts; a text that does not parse
// reads as absent, exactly as the record's own accessors do.
//
//   DeliveryItem item(survey);
//   if (item.isPublished && item.triggerNames[0] == normalizeEventName("Checkout Done")) ...
//
// Plain values, safe on any thread; built on the worker pool, read on the main context.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarnwell/core/timestamp.h"
#include "tarnwell/surveys/survey.h"

namespace tarnwell::detail {

// Trimmed of white space and line ends, lower-cased, every "-" and every blank turned into "_",
// so "Checkout-Done " meets "checkout_done".
std::string normalizeEventName(std::string_view name);

// 32-bit FNV-1a over the bytes of `text` (offset basis 0x811C9DC5, prime 16777619).
std::uint32_t fnv1a32(std::string_view text) noexcept;

struct DeliveryItem {
  explicit DeliveryItem(Survey record);

  Survey survey;
  std::optional<SurveyTargeting> targeting;  // absent when the text is absent or does not decode
  std::optional<Timestamp> scheduleStart;    // absent when the bound is absent or does not parse
  std::optional<Timestamp> scheduleEnd;
  bool isPublished = false;  // status exactly "published"
  // Normalised names a survey's event may meet, in the order they are tried: eventTriggerId
  // (absent as ""), the behavioural trigger's event, the trigger count rule's event.
  std::array<std::optional<std::string>, 3> triggerNames;

  std::int64_t priority() const noexcept { return targeting ? targeting->priority.value_or(0) : 0; }
  // The id, "" when absent: the key of the in-process guard.
  const std::string& idOrEmpty() const noexcept;
};

using DeliveryList = std::shared_ptr<const std::vector<DeliveryItem>>;

DeliveryList makeDeliveryList(std::vector<Survey> records);

}  // namespace tarnwell::detail
