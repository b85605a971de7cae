// File: tarnwell/identity/detail/user_repository.h
//
// UserRepository tells the backend about the user and the session: the four user actions, each
// carrying a complete UserSyncSnapshot and the gateway session token.
//
//   UserRepository users(client, transport);
//   bool ok = co_await users.syncUserState(snapshot, false);
//   IdentifyResult result = co_await users.identifyUser(snapshot, "user-42", traits);
//
// Failures are thrown for the caller to log; the answers' success flags are read by the success
// rule and acted on by nobody.
#pragma once

#include <asio/awaitable.hpp>

#include <memory>
#include <optional>
#include <string>

#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/identity/detail/user_sync_snapshot.h"

namespace tarnwell::detail {

struct IdentifyResult {
  std::string profileId;
  std::optional<std::string> mergedFromProfileId;  // read, used by nothing
};

class UserRepository {
 public:
  UserRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport);

  asio::awaitable<bool> startSession(UserSyncSnapshot snapshot);
  asio::awaitable<bool> endSession(UserSyncSnapshot snapshot, JSONObject sessionData);
  asio::awaitable<bool> syncUserState(UserSyncSnapshot snapshot, bool incrementSessionCount);
  // The surviving profile: the answer's "profileId" when it is a scalar, else the snapshot's.
  asio::awaitable<IdentifyResult> identifyUser(UserSyncSnapshot snapshot, std::string identifiedUserId,
                                               JSONObject traits);

 private:
  RuntimeGatewayRepository gateway_;
};

}  // namespace tarnwell::detail
