#include "tools/gateway/payload_reader.h"

#include <utility>

#include <tarnwell/core/coding_error.h>
#include <tarnwell/core/iso8601.h>

namespace tarnwell::gateway {

PayloadReader::PayloadReader(const JSONValue& value, const std::string& path, std::string prefix)
    : value_(value), prefix_(std::move(prefix)) {
  if (!value.isObject()) throw PayloadError(path + " must be an object");
}

const JSONValue& PayloadReader::member(std::string_view key) const {
  const JSONValue* found = value_.asObject()->find(key);
  if (found == nullptr) throw PayloadError(pathOf(key) + " is missing");
  return *found;
}

void PayloadReader::reject(std::string_view key, std::string_view takes) const {
  throw PayloadError(pathOf(key) + " must be " + std::string(takes));
}

PayloadReader PayloadReader::object(std::string_view key) const {
  return PayloadReader(member(key), pathOf(key), pathOf(key) + ".");
}

std::vector<PayloadReader> PayloadReader::objects(std::string_view key) const {
  const JSONArray* array = member(key).asArray();
  if (array == nullptr) reject(key, "an array");
  std::vector<PayloadReader> readers;
  readers.reserve(array->size());
  for (std::size_t index = 0; index < array->size(); ++index) {
    const std::string path = pathOf(key) + "[" + std::to_string(index) + "]";
    readers.push_back(PayloadReader((*array)[index], path, path + "."));
  }
  return readers;
}

std::string PayloadReader::text(std::string_view key) const {
  const JSONString* text = member(key).asString();
  if (text == nullptr) reject(key, "a string");
  return text->str();
}

std::string PayloadReader::nonEmptyText(std::string_view key) const {
  const JSONString* text = member(key).asString();
  if (text == nullptr || text->empty()) reject(key, "a non-empty string");
  return text->str();
}

std::optional<std::string> PayloadReader::nullableText(std::string_view key) const {
  const JSONValue& value = member(key);
  if (value.isNull()) return std::nullopt;
  const JSONString* text = value.asString();
  if (text == nullptr) reject(key, "a string or null");
  return text->str();
}

std::string PayloadReader::date(std::string_view key) const {
  const JSONString* text = member(key).asString();
  if (text == nullptr || !parseISO8601Date(text->view())) reject(key, "an ISO 8601 date");
  return text->str();
}

bool PayloadReader::flag(std::string_view key) const {
  const bool* flag = member(key).asBool();
  if (flag == nullptr) reject(key, "a bool");
  return *flag;
}

double PayloadReader::number(std::string_view key) const {
  const double* number = member(key).asNumber();
  if (number == nullptr) reject(key, "a number");
  return *number;
}

std::optional<double> PayloadReader::nullableNumber(std::string_view key) const {
  const JSONValue& value = member(key);
  if (value.isNull()) return std::nullopt;
  const double* number = value.asNumber();
  if (number == nullptr) reject(key, "a number or null");
  return *number;
}

std::optional<std::vector<std::string>> PayloadReader::nullableTexts(std::string_view key) const {
  const JSONValue& value = member(key);
  if (value.isNull()) return std::nullopt;
  const JSONArray* array = value.asArray();
  if (array == nullptr) reject(key, "an array of strings or null");
  std::vector<std::string> texts;
  texts.reserve(array->size());
  for (const JSONValue& element : *array) {
    const JSONString* text = element.asString();
    if (text == nullptr) reject(key, "an array of strings or null");
    texts.push_back(text->str());
  }
  return texts;
}

std::optional<JSONObject> PayloadReader::nullableObject(std::string_view key) const {
  const JSONValue& value = member(key);
  if (value.isNull()) return std::nullopt;
  const JSONObject* object = value.asObject();
  if (object == nullptr) reject(key, "an object or null");
  return *object;
}

std::optional<std::string> PayloadReader::nullableJSONText(std::string_view key) const {
  const JSONValue& value = member(key);
  if (value.isNull()) return std::nullopt;
  const JSONString* text = value.asString();
  bool holdsJSON = false;
  if (text != nullptr) {
    try {
      JSONValue::decode(text->view());
      holdsJSON = true;
    } catch (const DecodingError&) {
      // Rejected below, with the other values that are no JSON text.
    }
  }
  if (!holdsJSON) reject(key, "a JSON text or null");
  return text->str();
}

ActionHandler answeringPayloadErrors(ActionHandler handler) {
  return [handler = std::move(handler)](ActionContext& context, const ActionCall& call) {
    try {
      return handler(context, call);
    } catch (const PayloadError& error) {
      return ActionReply::failure("Invalid " + call.action + " payload: " + error.what());
    }
  };
}

}  // namespace tarnwell::gateway
