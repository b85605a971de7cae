// File: tarnwell/surveys/detail/survey_delivery_ledger.h
//
// The delivery ledger: per user and survey, how often it was presented, dismissed and answered,
// and when it was last shown. It lives in the key-value store under
// "tarnwell_survey_delivery::" + user key + "::" + survey id + "::" + metric, with the metrics
// "impressions", "dismissed", "completed" (integers) and "last_shown" (seconds since 1970).
//
//   SurveyDeliveryLedger ledger(store, properties);
//   ledger.recordPresentation("s1", clock.now());
//   ledger.entry("s1").impressions;   // 1
//
// The user key is read afresh for each use (PropertyManager::getDeliveryUserKey), so a change of
// profile switches to another ledger without a migration. The SDK never deletes or expires an
// entry. A missing entry, or one of another stored type, reads as 0 (a double stored under a
// counter is truncated); counters saturate instead of overflowing.
// Threads: the store makes each call atomic; the SDK uses it from its main context.
#pragma once

#include <string_view>

#include "tarnwell/core/timestamp.h"
#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/platform/key_value_store.h"
#include "tarnwell/surveys/survey_ledger_entry.h"

namespace tarnwell::detail {

class SurveyDeliveryLedger {
 public:
  SurveyDeliveryLedger(KeyValueStore& defaults, const PropertyManager& properties)
      : defaults_(defaults), properties_(properties) {}

  SurveyLedgerEntry entry(std::string_view surveyId) const;
  // One more impression, and "last_shown" now.
  void recordPresentation(std::string_view surveyId, Timestamp now);
  void recordDismissal(std::string_view surveyId);
  void recordCompletion(std::string_view surveyId);

 private:
  std::string key(std::string_view surveyId, std::string_view metric) const;
  std::int64_t count(std::string_view surveyId, std::string_view metric) const;
  void increment(std::string_view surveyId, std::string_view metric);

  KeyValueStore& defaults_;
  const PropertyManager& properties_;
};

}  // namespace tarnwell::detail
