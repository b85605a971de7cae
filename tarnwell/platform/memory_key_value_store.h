// File: tarnwell/platform/memory_key_value_store.h
//
// MemoryKeyValueStore keeps its values in a map for the life of the object. Unit tests use it
// wherever a component needs a store, and openKeyValueStore falls back to it when no file can be
// opened, so the host keeps running without persistence.
//
//   tarnwell::MemoryKeyValueStore store;
//   store.setInt64("tarnwell_launch_count", 3);
//   std::optional<std::int64_t> launches = store.getInt64("tarnwell_launch_count");
//
// Contract: the KeyValueStore one, except that nothing outlives the object. Every member may be
// called from any thread; a write fails (false and an ERROR line) only when memory runs out.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include <tarnwell/export.h>
#include <tarnwell/platform/key_value_store.h>

namespace tarnwell {

class TARNWELL_API MemoryKeyValueStore final : public KeyValueStore {
 public:
  std::optional<StoreValue> get(std::string_view key) const noexcept override;
  bool set(std::string_view key, const StoreValue& value) noexcept override;
  bool remove(std::string_view key) noexcept override;
  std::vector<std::string> keysWithPrefix(std::string_view prefix) const noexcept override;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, StoreValue, std::less<>> values_;
};

}  // namespace tarnwell
