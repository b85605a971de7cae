#include "tarnwell/platform/key_value_store.h"

#include <cstdlib>
#include <exception>

#include "tarnwell/core/log.h"
#include "tarnwell/platform/detail/sqlite_key_value_store.h"
#include "tarnwell/platform/memory_key_value_store.h"

namespace tarnwell {
namespace {

template <typename T>
std::optional<T> getAs(const KeyValueStore& store, std::string_view key) noexcept {
  std::optional<StoreValue> value = store.get(key);
  if (!value) {
    return std::nullopt;
  }
  if (T* typed = std::get_if<T>(&*value)) {
    return std::move(*typed);
  }
  return std::nullopt;
}

// Text and bytes are copied into a StoreValue first; that copy is the one step that may run out
// of memory, and a setter must not throw.
template <typename T, typename Source>
bool setCopy(KeyValueStore& store, std::string_view key, Source source) noexcept {
  try {
    return store.set(key, StoreValue(std::in_place_type<T>, source.begin(), source.end()));
  } catch (const std::exception& error) {
    logError("Key-value store could not copy a value to write", error.what());
    return false;
  }
}

}  // namespace

std::optional<std::string> KeyValueStore::getString(std::string_view key) const noexcept {
  return getAs<std::string>(*this, key);
}
std::optional<std::int64_t> KeyValueStore::getInt64(std::string_view key) const noexcept {
  return getAs<std::int64_t>(*this, key);
}
std::optional<double> KeyValueStore::getDouble(std::string_view key) const noexcept {
  return getAs<double>(*this, key);
}
std::optional<bool> KeyValueStore::getBool(std::string_view key) const noexcept { return getAs<bool>(*this, key); }
std::optional<Bytes> KeyValueStore::getBytes(std::string_view key) const noexcept { return getAs<Bytes>(*this, key); }

bool KeyValueStore::setString(std::string_view key, std::string_view value) noexcept {
  return setCopy<std::string>(*this, key, value);
}
bool KeyValueStore::setInt64(std::string_view key, std::int64_t value) noexcept {
  return set(key, StoreValue(std::in_place_type<std::int64_t>, value));
}
bool KeyValueStore::setDouble(std::string_view key, double value) noexcept {
  return set(key, StoreValue(std::in_place_type<double>, value));
}
bool KeyValueStore::setBool(std::string_view key, bool value) noexcept {
  return set(key, StoreValue(std::in_place_type<bool>, value));
}
bool KeyValueStore::setBytes(std::string_view key, std::span<const std::uint8_t> value) noexcept {
  return setCopy<Bytes>(*this, key, value);
}

std::unique_ptr<KeyValueStore> openKeyValueStore(const std::string& path) {
  detail::SqliteKeyValueStore::OpenResult opened = detail::SqliteKeyValueStore::open(path);
  if (opened.store) {
    return std::move(opened.store);
  }
  logError("Key-value store " + path + " could not be opened; values are kept in memory only", opened.error);
  return std::make_unique<MemoryKeyValueStore>();
}

std::string defaultKeyValueStorePath() {
  // A relative XDG_DATA_HOME is invalid and ignored, as the XDG base directory rules ask.
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  if (dataHome != nullptr && dataHome[0] == '/') {
    return std::string(dataHome) + "/tarnwell/store.sqlite";
  }
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] != '\0') {
    return std::string(home) + "/.local/share/tarnwell/store.sqlite";
  }
  return "./tarnwell-store.sqlite";
}

}  // namespace tarnwell
