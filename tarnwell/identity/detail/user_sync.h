// File: tarnwell/identity/detail/user_sync.h
//
// UserSync keeps the backend in step with the identity store: the debounced sync after a burst
// of property changes (the last request wins), identify with the backend's profile merge, and
// the session start and end records. It owns the UserRepository and logs every failure; nothing
// it does reaches the host as an error. Internal: includes Asio.
//
//   UserSync sync(UserRepository(client, transport), properties, clock, pool.executor(), snapshotOf);
//   spawnOnMain(sync.syncAfter(std::chrono::milliseconds(750)));   // a later call supersedes it
//   co_await sync.persistSessionStart(snapshot);
//
// Threads: main context only. Its coroutines run there and hand each gateway call to the worker
// pool, so the main context never waits on the network.
#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/user_repository.h"
#include "tarnwell/identity/detail/user_sync_snapshot.h"
#include "tarnwell/platform/clock.h"

namespace tarnwell::detail {

class UserSync {
 public:
  // The identity as it stands now, naming `sessionId` (else the running session) and whether the
  // user counts as registered; absent while the SDK has no tenant to send it to.
  using SnapshotSource =
      std::function<std::optional<UserSyncSnapshot>(std::optional<std::string> sessionId, bool isRegistered)>;

  UserSync(UserRepository repository, PropertyManager& properties, Clock& clock, asio::any_io_executor pool,
           SnapshotSource snapshot);

  // Waits `delay` (none below a millisecond), then syncs, unless another syncAfter was asked for
  // in the meantime: the request is counted when this is called, not when the wait starts.
  asio::awaitable<void> syncAfter(std::chrono::milliseconds delay);
  // "sync_user_state" with the identity as it stands.
  asio::awaitable<void> sync(bool isRegistered = false);
  // Identifies `userId` (already trimmed) on the backend from the identity `before` the change:
  // takes the surviving profile, sets the user id, syncs, and attaches `runningSession` to the
  // identified user. Returns false, with the user id set locally all the same, when the backend
  // could not be told; the caller then schedules a sync.
  asio::awaitable<bool> identify(UserSyncSnapshot before, std::string userId, JSONObject traits,
                                 std::optional<std::string> runningSession);
  asio::awaitable<void> persistSessionStart(UserSyncSnapshot snapshot);
  asio::awaitable<void> persistSessionEnd(UserSyncSnapshot snapshot, JSONObject sessionData);

 private:
  asio::awaitable<void> debounced(std::chrono::milliseconds delay, std::int64_t revision);

  UserRepository repository_;
  PropertyManager& properties_;
  Clock& clock_;
  asio::any_io_executor pool_;
  SnapshotSource snapshot_;
  std::int64_t pendingRevision_ = 0;
};

}  // namespace tarnwell::detail
