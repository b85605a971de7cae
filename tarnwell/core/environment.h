// File: tarnwell/core/environment.h
//
// Environment names which of the tenant's backends an API key addresses. Its raw text is what
// configuration files hold; its wire value is what goes to the backend (the same text).
//
//   auto env = tarnwell::environmentFromRawValue("stage");   // Environment::stage
//   std::string_view wire = tarnwell::wireValue(*env);      // "stage"
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include <tarnwell/export.h>

namespace tarnwell {

enum class Environment { debug, stage, production };

inline constexpr std::array<Environment, 3> allEnvironments{Environment::debug, Environment::stage,
                                                            Environment::production};

// "debug", "stage", "production".
TARNWELL_API std::string_view rawValue(Environment environment) noexcept;
// The text sent to the backend; use this wherever the value goes on the wire.
TARNWELL_API std::string_view wireValue(Environment environment) noexcept;
// Exact, case-sensitive: "Stage" gives absent.
TARNWELL_API std::optional<Environment> environmentFromRawValue(std::string_view text) noexcept;
// The forgiving choice a configuration gets: the text lower-cased, "debug" or "stage" select
// those, anything else (empty or misspelled included) selects production.
TARNWELL_API Environment selectEnvironment(std::string_view text) noexcept;

}  // namespace tarnwell
