// File: tarnwell/platform/key_value_store.h
//
// KeyValueStore is where everything that outlives the process is kept: identifiers, the event
// queue, the runtime bundle, delivery ledgers. Values are typed (text, 64-bit integer, double,
// bool, bytes); a key holds one value at a time, and reading it as another type gives absent.
//
//   auto store = tarnwell::openKeyValueStore("/var/lib/myapp/tarnwell.sqlite");
//   store->setString("tarnwell_user_type", "pro");
//   std::optional<std::string> type = store->getString("tarnwell_user_type");
//
// Contract for every implementation:
// - Every member may be called from any thread at the same time; each call is atomic.
// - Nothing throws. A missing key, a value of another type, or a store that cannot be read reads
//   as absent. A write that cannot be made durable returns false and logs an ERROR line; the
//   value the store held before stays readable.
// - A write that returned true is seen by every later read, also after the process dies.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <tarnwell/export.h>

namespace tarnwell {

using Bytes = std::vector<std::uint8_t>;
using StoreValue = std::variant<std::string, std::int64_t, double, bool, Bytes>;

// A view of a text's bytes, for storing encoded documents without a copy.
inline std::span<const std::uint8_t> asBytes(std::string_view text) noexcept {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class TARNWELL_API KeyValueStore {
 public:
  virtual ~KeyValueStore() = default;

  virtual std::optional<StoreValue> get(std::string_view key) const noexcept = 0;
  virtual bool set(std::string_view key, const StoreValue& value) noexcept = 0;
  // Removing a key that is not there succeeds.
  virtual bool remove(std::string_view key) noexcept = 0;
  // The keys that start with `prefix`, in ascending byte order.
  virtual std::vector<std::string> keysWithPrefix(std::string_view prefix) const noexcept = 0;

  std::optional<std::string> getString(std::string_view key) const noexcept;
  std::optional<std::int64_t> getInt64(std::string_view key) const noexcept;
  std::optional<double> getDouble(std::string_view key) const noexcept;
  std::optional<bool> getBool(std::string_view key) const noexcept;
  std::optional<Bytes> getBytes(std::string_view key) const noexcept;

  bool setString(std::string_view key, std::string_view value) noexcept;
  bool setInt64(std::string_view key, std::int64_t value) noexcept;
  bool setDouble(std::string_view key, double value) noexcept;
  bool setBool(std::string_view key, bool value) noexcept;
  bool setBytes(std::string_view key, std::span<const std::uint8_t> value) noexcept;
};

// The store a host gets by default: the SQLite file at `path`, created with its folders when
// missing. A file that is corrupt or not a database is renamed aside (path + ".corrupt-" + a
// timestamp), logged, and replaced by a fresh store. If no file can be opened at all, the
// failure is logged and an in-memory store is returned, so the host keeps running.
TARNWELL_API std::unique_ptr<KeyValueStore> openKeyValueStore(const std::string& path);

// $XDG_DATA_HOME/tarnwell/store.sqlite, else ~/.local/share/tarnwell/store.sqlite, else
// ./tarnwell-store.sqlite.
TARNWELL_API std::string defaultKeyValueStorePath();

}  // namespace tarnwell
