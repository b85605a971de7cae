// File: tarnwell/flags/detail/feature_flag_fields.h
//
// The field tables of the flag records, shared by every decoder of a flag (the record itself,
// its derived views and the runtime bundle).
#pragma once

#include <tuple>

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/flags/feature_flag.h"
#include "tarnwell/targeting/detail/rule_condition_fields.h"

namespace tarnwell::detail {

template <>
struct RecordFields<Variation> {
  using R = Variation;
  static constexpr auto fields = std::make_tuple(field(&R::id, "id"), field(&R::name, "name"),
                                                 field(&R::value, "value"), field(&R::description, "description"),
                                                 field(&R::weight, "weight"), field(&R::isControl, "isControl"));
};

template <>
struct RecordFields<RolloutConfig> {
  using R = RolloutConfig;
  static constexpr auto fields = std::make_tuple(field(&R::percentage, "percentage"), field(&R::seed, "seed"));
};

template <>
struct RecordFields<ScheduleConfig> {
  using R = ScheduleConfig;
  static constexpr auto fields = std::make_tuple(field(&R::enabled, "enabled"), field(&R::startDate, "startDate"),
                                                 field(&R::endDate, "endDate"), field(&R::timezone, "timezone"));
};

template <>
struct RecordFields<Goal> {
  using R = Goal;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::name, "name"), field(&R::eventName, "eventName"));
};

template <>
struct RecordFields<ExperimentConfig> {
  using R = ExperimentConfig;
  static constexpr auto fields =
      std::make_tuple(field(&R::hypothesis, "hypothesis"), field(&R::goals, "goals"),
                      field(&R::winningVariationId, "winningVariationId"), field(&R::minSampleSize, "minSampleSize"),
                      field(&R::confidenceLevel, "confidenceLevel"), field(&R::minDurationDays, "minDurationDays"));
};

template <>
struct RecordFields<AudienceVariantGroup> {
  using R = AudienceVariantGroup;
  static constexpr auto fields =
      std::make_tuple(field(&R::id, "id"), field(&R::name, "name"), field(&R::segmentId, "segmentId"),
                      field(&R::priority, "priority"), field(&R::value, "value"), field(&R::rules, "rules"));
};

template <>
struct RecordFields<FeatureFlag> {
  using R = FeatureFlag;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "$id"), field(&R::name, "name"), field(&R::key, "key"), field(&R::description, "description"),
      field(&R::type, "type"), field(&R::defaultValue, "defaultValue"), field(&R::variationsJSON, "variations"),
      field(&R::targetingRulesJSON, "targetingRules"), field(&R::rolloutConfigJSON, "rolloutConfig"),
      field(&R::scheduleConfigJSON, "scheduleConfig"), field(&R::status, "status"),
      field(&R::experimentStatus, "experimentStatus"), field(&R::experimentConfigJSON, "experimentConfig"),
      field(&R::ownerId, "ownerId"), field(&R::organizationId, "organizationId"), field(&R::projectId, "projectId"),
      field(&R::appId, "appId"), field(&R::environment, "environment"), field(&R::metadata, "metadata"),
      field(&R::tags, "tags"), field(&R::version, "version"), field(&R::archived, "archived"),
      field(&R::archivedAt, "archivedAt"), field(&R::archivedBy, "archivedBy"), field(&R::createdAt, "$createdAt"),
      field(&R::updatedAt, "$updatedAt"));
};

}  // namespace tarnwell::detail
