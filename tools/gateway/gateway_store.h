// File: tools/gateway/gateway_store.h
//
// GatewayStore keeps what the local gateway must remember in one SQLite database: the sessions
// its bootstraps handed out, and every gateway call it received, for the inspection endpoint.
//
//   GatewayStore store(":memory:");   // or a file path; a file is opened in WAL mode
//   store.rememberSession(session);
//   std::optional<GatewaySession> caller = store.findSession(token);
//
// Every member may be called from any thread; calls are serialised on one connection. Failures
// of the database throw StoreError.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <tarnwell/core/json_value.h>

struct sqlite3;

namespace tarnwell::gateway {

class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

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
  ~GatewayStore();
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

 private:
  struct Closer {
    void operator()(sqlite3* db) const noexcept;
  };
  std::mutex mutex_;
  std::unique_ptr<sqlite3, Closer> db_;
};

}  // namespace tarnwell::gateway
