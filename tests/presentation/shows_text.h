// Whether a view's visible texts include one exactly: what the presentation tests ask most.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace tarnwell::testing {

inline bool shows(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

}  // namespace tarnwell::testing
