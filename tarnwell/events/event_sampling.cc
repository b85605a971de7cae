#include "tarnwell/events/detail/event_sampling.h"

#include <array>
#include <utility>

#include "tarnwell/core/detail/text.h"

namespace tarnwell::detail {
namespace {

using Percent = std::int64_t RuntimeConfig::SamplingConfig::*;
using S = RuntimeConfig::SamplingConfig;

constexpr std::array<std::pair<std::string_view, Percent>, 10> kPercentByType{{
    {"sdk", &S::sdkPercent},
    {"session", &S::sessionPercent},
    {"survey", &S::surveyPercent},
    {"announcement", &S::announcementPercent},
    {"live_card", &S::liveCardPercent},
    {"livecard", &S::liveCardPercent},
    {"feature_flag", &S::featureFlagPercent},
    {"featureflag", &S::featureFlagPercent},
    {"warning", &S::warningPercent},
    {"error", &S::errorPercent},
}};

constexpr std::array<std::pair<std::string_view, Percent>, 5> kPercentByNamePart{{
    {"feature_", &S::featureFlagPercent},
    {"experiment_", &S::featureFlagPercent},
    {"warning", &S::warningPercent},
    {"error", &S::errorPercent},
    {"exception", &S::errorPercent},
}};

}  // namespace

std::uint64_t fnv1a64(std::string_view bytes) noexcept {
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  for (const char byte : bytes) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= 0x100000001b3ULL;
  }
  return hash;
}

int samplingBucket(std::string_view text) noexcept {
  if (text.empty()) return 37;
  return static_cast<int>(fnv1a64(text) % 100);
}

std::int64_t samplingPercent(const RuntimeConfig::SamplingConfig& sampling, std::string_view eventType,
                             std::string_view eventName) {
  const std::string type = toLowerAscii(eventType);
  for (const auto& [name, percent] : kPercentByType) {
    if (type == name) return sampling.*percent;
  }
  const std::string lowerName = toLowerAscii(eventName);
  for (const auto& [part, percent] : kPercentByNamePart) {
    if (lowerName.find(part) != std::string::npos) return sampling.*percent;
  }
  return sampling.defaultPercent;
}

std::string samplingText(const EventRecord& event) {
  std::string text = event.userId;
  text += '|';
  text += event.sessionId.value_or("");
  text += '|';
  if (const JSONValue* deviceId = event.deviceProperties.find("device_id")) {
    text += deviceId->stringifyScalar().value_or("");
  }
  text += '|';
  text += event.eventType;
  text += '|';
  text += event.eventName;
  return text;
}

bool isSampledIn(const EventRecord& event, const RuntimeConfig::SamplingConfig& sampling) {
  const std::int64_t percent = samplingPercent(sampling, event.eventType, event.eventName);
  if (percent <= 0) return false;
  if (percent >= 100) return true;
  return samplingBucket(samplingText(event)) < percent;
}

}  // namespace tarnwell::detail
