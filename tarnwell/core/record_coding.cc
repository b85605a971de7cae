#include "tarnwell/core/detail/record_coding.h"

#include <vector>

namespace tarnwell::detail {
namespace {

std::string_view describe(const JSONValue& value) {
  switch (value.kind()) {
    case JSONValue::Kind::string: return "text";
    case JSONValue::Kind::number: return "a number";
    case JSONValue::Kind::boolean: return "a bool";
    case JSONValue::Kind::object: return "an object";
    case JSONValue::Kind::array: return "an array";
    case JSONValue::Kind::null: return "null";
  }
  return "a value";
}

}  // namespace

std::string CodingPath::render() const {
  std::vector<const CodingPath*> chain;
  for (const CodingPath* node = this; node != nullptr; node = node->parent) {
    if (node->isIndex || !node->key.empty()) chain.push_back(node);
  }
  if (chain.empty()) return "the top level";
  std::string text;
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    if ((*it)->isIndex) {
      text += "[" + std::to_string((*it)->index) + "]";
    } else {
      if (!text.empty()) text += ".";
      text += (*it)->key;
    }
  }
  return "\"" + text + "\"";
}

void throwTypeMismatch(const CodingPath& path, std::string_view expected, const JSONValue& found) {
  throw DecodingError("Expected " + std::string(expected) + " at " + path.render() + " but found " +
                      std::string(describe(found)));
}

void throwMissingKey(const CodingPath& path) { throw DecodingError("No value for the required key " + path.render()); }

}  // namespace tarnwell::detail
