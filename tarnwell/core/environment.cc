#include "tarnwell/core/environment.h"

#include "tarnwell/core/detail/text.h"

namespace tarnwell {

std::string_view rawValue(Environment environment) noexcept {
  switch (environment) {
    case Environment::debug: return "debug";
    case Environment::stage: return "stage";
    case Environment::production: return "production";
  }
  return "production";
}

std::string_view wireValue(Environment environment) noexcept { return rawValue(environment); }

std::optional<Environment> environmentFromRawValue(std::string_view text) noexcept {
  for (Environment environment : allEnvironments) {
    if (rawValue(environment) == text) return environment;
  }
  return std::nullopt;
}

Environment selectEnvironment(std::string_view text) noexcept {
  const std::string lowered = detail::toLowerAscii(text);
  if (lowered == "debug") return Environment::debug;
  if (lowered == "stage") return Environment::stage;
  return Environment::production;
}

}  // namespace tarnwell
