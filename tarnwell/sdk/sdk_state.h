// File: tarnwell/sdk/sdk_state.h
//
// SDKState is the SDK's lifecycle as the host sees it: notInitialized at construction,
// initializing while a start-up runs, ready once it succeeded, error with the failure's text
// when it did not, shutdown after shutdown(). Two error states are equal when their texts are.
//
//   if (tarnwell.getState().kind() == tarnwell::SDKState::Kind::error) {
//     log(tarnwell.getState().errorText());
//   }
#pragma once

#include <string>
#include <string_view>

#include <tarnwell/export.h>

namespace tarnwell {

class TARNWELL_API SDKState {
 public:
  enum class Kind { notInitialized, initializing, ready, error, shutdown };

  SDKState() = default;
  static SDKState notInitialized() { return SDKState(Kind::notInitialized, {}); }
  static SDKState initializing() { return SDKState(Kind::initializing, {}); }
  static SDKState ready() { return SDKState(Kind::ready, {}); }
  static SDKState error(std::string text) { return SDKState(Kind::error, std::move(text)); }
  static SDKState shutdown() { return SDKState(Kind::shutdown, {}); }

  Kind kind() const noexcept { return kind_; }
  // The failure's text for an error state; empty otherwise.
  const std::string& errorText() const noexcept { return errorText_; }
  // "notInitialized", "initializing", "ready", "error", "shutdown".
  std::string_view name() const noexcept;

  friend bool operator==(const SDKState&, const SDKState&) = default;

 private:
  SDKState(Kind kind, std::string text) : kind_(kind), errorText_(std::move(text)) {}
  Kind kind_ = Kind::notInitialized;
  std::string errorText_;
};

}  // namespace tarnwell
