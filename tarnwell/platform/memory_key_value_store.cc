#include "tarnwell/platform/memory_key_value_store.h"

#include <exception>

#include "tarnwell/core/log.h"

namespace tarnwell {

std::optional<StoreValue> MemoryKeyValueStore::get(std::string_view key) const noexcept {
  try {
    std::lock_guard lock(mutex_);
    auto found = values_.find(key);
    if (found == values_.end()) {
      return std::nullopt;
    }
    return found->second;
  } catch (const std::exception& error) {
    logError("In-memory key-value store could not read a value", error.what());
    return std::nullopt;
  }
}

bool MemoryKeyValueStore::set(std::string_view key, const StoreValue& value) noexcept {
  try {
    std::lock_guard lock(mutex_);
    // Copy before touching the map, so a failed copy leaves the old value in place.
    StoreValue copy = value;
    values_.insert_or_assign(std::string(key), std::move(copy));
    return true;
  } catch (const std::exception& error) {
    logError("In-memory key-value store could not write a value", error.what());
    return false;
  }
}

bool MemoryKeyValueStore::remove(std::string_view key) noexcept {
  try {
    std::lock_guard lock(mutex_);
    auto found = values_.find(key);
    if (found != values_.end()) {
      values_.erase(found);
    }
    return true;
  } catch (const std::exception& error) {
    logError("In-memory key-value store could not remove a value", error.what());
    return false;
  }
}

std::vector<std::string> MemoryKeyValueStore::keysWithPrefix(std::string_view prefix) const noexcept {
  try {
    std::lock_guard lock(mutex_);
    std::vector<std::string> keys;
    // The map is in byte order, so the matches are one run starting at the prefix itself.
    for (auto it = values_.lower_bound(prefix); it != values_.end() && it->first.starts_with(prefix); ++it) {
      keys.push_back(it->first);
    }
    return keys;
  } catch (const std::exception& error) {
    logError("In-memory key-value store could not list keys", error.what());
    return {};
  }
}

}  // namespace tarnwell
