// File: tarnwell/events/detail/event_sampling.h
//
// Event sampling: which share of each category of event the backend wants to receive, and a
// die that falls the same way every time for the same user, session, device, type and name, so
// within a session an event name is either always kept or always dropped.
//
//   RuntimeConfig::SamplingConfig sampling;              // featureFlagPercent 25, the rest 100
//   samplingPercent(sampling, "custom", "feature_seen");  // 25: the name decides
//   if (isSampledIn(event, sampling)) queue.push_back(event);
//
// Pure functions of their arguments: any thread, nothing thrown but std::bad_alloc.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <tarnwell/backend/runtime_config.h>
#include "tarnwell/events/detail/event_record.h"

namespace tarnwell::detail {

// FNV-1a, 64 bits, over the bytes of `bytes`: offset basis 0xcbf29ce484222325, prime
// 0x100000001b3, exclusive-or with each byte before the multiplication.
std::uint64_t fnv1a64(std::string_view bytes) noexcept;

// The bucket 0-99 of a text: its FNV-1a hash modulo 100, and 37 for the empty text.
int samplingBucket(std::string_view text) noexcept;

// The percent that applies to an event. The lower-cased type decides by exact match ("sdk",
// "session", "survey", "announcement", "live_card"/"livecard", "feature_flag"/"featureflag",
// "warning", "error"); for any other type the lower-cased name decides by what it contains,
// first match wins: "feature_" or "experiment_" (feature flags), "warning", "error" or
// "exception" (errors), else defaultPercent.
std::int64_t samplingPercent(const RuntimeConfig::SamplingConfig& sampling, std::string_view eventType,
                             std::string_view eventName);

// The text the die is cast on: userId, sessionId (or ""), the text of "device_id" in the
// device properties (or ""), eventType and eventName, as stored, joined with "|".
std::string samplingText(const EventRecord& event);

// The sampling step of admission: refused at 0 percent or below, admitted at 100 or above
// without hashing, otherwise admitted when the bucket of samplingText is below the percent.
bool isSampledIn(const EventRecord& event, const RuntimeConfig::SamplingConfig& sampling);

}  // namespace tarnwell::detail
