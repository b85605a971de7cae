// File: tools/gateway/gateway_store.h
//
// GatewayStore keeps what the local gateway must remember in one SQLite database: the sessions
// its bootstraps handed out, every gateway call it received (for the inspection endpoint), and,
// through its parts, the identities, app sessions, events, telemetry, survey and announcement
// responses and live card clicks, and the message center the actions store.
//
//   GatewayStore store(":memory:");   // or a file path; a file is opened in WAL mode
//   store.rememberSession(session);
//   std::optional<GatewaySession> caller = store.findSession(token);
//   store.identityStore().saveUserState(profileId, snapshot, false, now);
//
// Every member may be called from any thread; calls are serialised on one connection. Tables are
// created when missing, so a database file from an older gateway opens as it is. Failures of the
// database throw StoreError.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/event_store.h"
#include "tools/gateway/identity_store.h"
#include "tools/gateway/message_center_store.h"
#include "tools/gateway/response_store.h"
#include "tools/gateway/sqlite_database.h"

namespace tarnwell::gateway {

// Who holds a session token: the key that bootstrapped it, its tenant and environment.
struct GatewaySession {
  std::string token;
  std::string apiKey;
  std::string organizationId;
  std::string projectId;
  std::string appId;
  std::string teamId;
  std::string apiKeyId;
  std::string environment;
  std::string createdAt;  // ISO 8601, UTC, milliseconds
};

// One gateway call as it arrived, and what the gateway did about it at the HTTP level.
struct RecordedRequest {
  std::string action;
  JSONValue payload;                        // the payload object as sent
  std::optional<std::string> sessionToken;  // as the caller sent it, known or not
  std::string receivedAt;                   // ISO 8601, UTC, milliseconds
  std::optional<int> httpStatus;            // absent when the connection was dropped
  std::optional<std::string> fault;         // the injected fault's kind, if one applied

  // {"action","payload","sessionToken","receivedAt","httpStatus","fault"}, absent as null.
  JSONValue toJSON() const;
};

class GatewayStore {
 public:
  // Opens (creating if needed) the database at `path`; ":memory:" keeps it in memory.
  explicit GatewayStore(const std::string& path);
  GatewayStore(const GatewayStore&) = delete;
  GatewayStore& operator=(const GatewayStore&) = delete;

  // Adds a session, replacing one with the same token.
  void rememberSession(const GatewaySession& session);
  std::optional<GatewaySession> findSession(const std::string& token);

  void recordRequest(const RecordedRequest& request);
  // In arrival order; only those of `action` when it is given. A payload the database holds
  // that is not JSON (a file edited by hand) throws DecodingError.
  std::vector<RecordedRequest> requests(const std::optional<std::string>& action = std::nullopt);
  void clearRequests();

  IdentityStore& identityStore() { return identity_; }
  EventStore& eventStore() { return events_; }
  ResponseStore& responseStore() { return responses_; }
  MessageCenterStore& messageCenterStore() { return messageCenter_; }

 private:
  SqliteDatabase database_;
  IdentityStore identity_;
  EventStore events_;
  ResponseStore responses_;
  MessageCenterStore messageCenter_;
};

}  // namespace tarnwell::gateway
