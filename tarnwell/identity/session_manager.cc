#include "tarnwell/identity/detail/session_manager.h"

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/core/log.h"
#include "tarnwell/platform/device_labels.h"

namespace tarnwell::detail {

template <>
struct RecordFields<SessionRecord> {
  using R = SessionRecord;
  static constexpr auto fields =
      std::make_tuple(field(&R::sessionId, "sessionId"), field(&R::userId, "userId"), field(&R::startedAt, "startedAt"),
                      field(&R::duration, "duration"), field(&R::foregroundTime, "foregroundTime"),
                      field(&R::backgroundTime, "backgroundTime"));
};

SessionRecord SessionRecord::decode(const JSONValue& value) { return decodeRecord<SessionRecord>(value); }
JSONValue SessionRecord::encode() const { return encodeRecord(*this); }

namespace {

double secondsBetween(Timestamp from, Timestamp to) { return std::chrono::duration<double>(to - from).count(); }

}  // namespace

SessionManager::SessionManager(Clock& clock, UuidGenerator& uuids) : clock_(clock), uuids_(uuids) {}

void SessionManager::startSession(const std::string& userId) {
  std::string started;
  {
    std::lock_guard lock(mutex_);
    if (currentSessionId_) return;
    currentSessionId_ = "session_" + uuids_.next();
    const Timestamp now = clock_.now();
    sessionStart_ = now;
    lastForegroundDate_ = now;
    foregroundTime_ = 0;
    backgroundTime_ = 0;
    started = *currentSessionId_;
  }
  logInfo("Started session " + started + " for " + userId);
}

std::optional<SessionSnapshot> SessionManager::endSession() {
  std::lock_guard lock(mutex_);
  if (!currentSessionId_ || !sessionStart_) return std::nullopt;
  const Timestamp end = clock_.now();
  if (lastForegroundDate_) foregroundTime_ += secondsBetween(*lastForegroundDate_, end);
  SessionSnapshot snapshot{*currentSessionId_, *sessionStart_, end, secondsBetween(*sessionStart_, end),
                           foregroundTime_,    backgroundTime_};
  currentSessionId_.reset();
  sessionStart_.reset();
  lastForegroundDate_.reset();
  foregroundTime_ = 0;
  backgroundTime_ = 0;
  return snapshot;
}

void SessionManager::appDidEnterForeground() {
  std::lock_guard lock(mutex_);
  lastForegroundDate_ = clock_.now();
}

void SessionManager::appDidEnterBackground() {
  std::lock_guard lock(mutex_);
  if (lastForegroundDate_) foregroundTime_ += secondsBetween(*lastForegroundDate_, clock_.now());
  lastForegroundDate_.reset();
}

void SessionManager::addBackgroundTime(double seconds) {
  std::lock_guard lock(mutex_);
  backgroundTime_ += seconds;
}

std::optional<std::string> SessionManager::getCurrentSessionId() const {
  std::lock_guard lock(mutex_);
  return currentSessionId_;
}

JSONObject makeSessionData(const SessionSnapshot& snapshot, const DeviceInfo& device) {
  return JSONObject{
      {"sessionId", JSONValue(snapshot.sessionId)},
      {"startTime", JSONValue(toEpochSeconds(snapshot.startedAt) * 1000.0)},
      {"endTime", JSONValue(toEpochSeconds(snapshot.endedAt) * 1000.0)},
      {"duration", JSONValue(snapshot.duration * 1000.0)},
      {"foregroundTime", JSONValue(snapshot.foregroundTime * 1000.0)},
      {"backgroundTime", JSONValue(snapshot.backgroundTime * 1000.0)},
      {"deviceInfo", JSONValue(JSONObject{{"platform", JSONValue(device.platform)},
                                          {"model", JSONValue(deviceFamilyName(device))},
                                          {"deviceModel", JSONValue(deviceModelIdentifier(device))},
                                          {"displayModel", JSONValue(deviceDisplayName(device))},
                                          {"manufacturer", JSONValue(device.manufacturer)},
                                          {"osVersion", JSONValue(device.osVersion)}})},
      {"appInfo", JSONValue(JSONObject{})},
  };
}

}  // namespace tarnwell::detail
