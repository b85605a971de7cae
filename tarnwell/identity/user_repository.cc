#include "tarnwell/identity/detail/user_repository.h"

namespace tarnwell::detail {
UserRepository::UserRepository(std::shared_ptr<AppwriteClient> client, std::shared_ptr<HttpTransport> transport)
    : gateway_(std::move(client), std::move(transport)) {}

asio::awaitable<bool> UserRepository::startSession(UserSyncSnapshot snapshot) {
  JSONObject payload{{"snapshot", snapshot.encode()}};
  co_return readSuccessFlag(co_await gateway_.execute("start_session", std::move(payload), true));
}

asio::awaitable<bool> UserRepository::endSession(UserSyncSnapshot snapshot, JSONObject sessionData) {
  JSONObject payload{{"snapshot", snapshot.encode()}, {"sessionData", JSONValue(std::move(sessionData))}};
  co_return readSuccessFlag(co_await gateway_.execute("end_session", std::move(payload), true));
}

asio::awaitable<bool> UserRepository::syncUserState(UserSyncSnapshot snapshot, bool incrementSessionCount) {
  JSONObject payload{{"snapshot", snapshot.encode()}, {"incrementSessionCount", JSONValue(incrementSessionCount)}};
  co_return readSuccessFlag(co_await gateway_.execute("sync_user_state", std::move(payload), true));
}

asio::awaitable<IdentifyResult> UserRepository::identifyUser(UserSyncSnapshot snapshot, std::string identifiedUserId,
                                                             JSONObject traits) {
  JSONObject payload{{"snapshot", snapshot.encode()},
                     {"identifiedUserId", JSONValue(identifiedUserId)},
                     {"traits", JSONValue(std::move(traits))}};
  const JSONObject data = co_await gateway_.execute("identify_user", std::move(payload), true);
  co_return IdentifyResult{data.scalarText("profileId").value_or(snapshot.profileId),
                           data.scalarText("mergedFromProfileId")};
}

}  // namespace tarnwell::detail
