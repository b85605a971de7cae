// File: tarnwell/identity/detail/session_manager.h
//
// SessionManager times one usage session: it mints the session identifier, remembers when the
// session began and adds up time in the foreground. A session is bounded by the SDK's lifecycle
// (ready to reset or shutdown), never by inactivity: going to the background does not end it.
//
//   SessionManager sessions(clock, uuids);
//   sessions.startSession("user-1");             // "[Tarnwell][INFO] Started session ..."
//   sessions.appDidEnterBackground();
//   std::optional<SessionSnapshot> ended = sessions.endSession();
//
// Every member may be called from any thread; the SDK drives it from its main context.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>
#include <tarnwell/core/timestamp.h>
#include <tarnwell/platform/clock.h>
#include <tarnwell/platform/device_info.h>
#include "tarnwell/platform/detail/uuid.h"

namespace tarnwell::detail {

// What ending a session leaves: its identifier and times (durations in seconds).
struct SessionSnapshot {
  std::string sessionId;
  Timestamp startedAt;
  Timestamp endedAt;
  double duration = 0;
  double foregroundTime = 0;
  double backgroundTime = 0;

  friend bool operator==(const SessionSnapshot&, const SessionSnapshot&) = default;
};

// A session as a JSON record, part of the public model.
struct SessionRecord {
  std::string sessionId;
  std::string userId;
  std::string startedAt;
  std::optional<double> duration;
  std::optional<double> foregroundTime;
  std::optional<double> backgroundTime;

  friend bool operator==(const SessionRecord&, const SessionRecord&) = default;
  static SessionRecord decode(const JSONValue& value);
  JSONValue encode() const;
};

class SessionManager {
 public:
  SessionManager(Clock& clock, UuidGenerator& uuids);

  // Starts a session unless one runs (then nothing changes and nothing is printed).
  void startSession(const std::string& userId);
  // Ends the running session; absent when none runs.
  std::optional<SessionSnapshot> endSession();
  void appDidEnterForeground();
  void appDidEnterBackground();
  void addBackgroundTime(double seconds);
  std::optional<std::string> getCurrentSessionId() const;

 private:
  Clock& clock_;
  UuidGenerator& uuids_;
  mutable std::mutex mutex_;
  std::optional<std::string> currentSessionId_;
  std::optional<Timestamp> sessionStart_;
  double foregroundTime_ = 0;
  double backgroundTime_ = 0;
  std::optional<Timestamp> lastForegroundDate_;
};

// The "sessionData" object of "end_session": times in milliseconds, the device labels, and an
// empty "appInfo".
JSONObject makeSessionData(const SessionSnapshot& snapshot, const DeviceInfo& device);

}  // namespace tarnwell::detail
