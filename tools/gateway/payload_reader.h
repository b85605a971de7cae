// File: tools/gateway/payload_reader.h
//
// PayloadReader reads one object of a gateway payload strictly, as the backend checks its input:
// a member that is missing or of the wrong type throws PayloadError naming its path. A handler
// wrapped in answeringPayloadErrors() answers that error as the action's failure.
//
//   table["greet"] = answeringPayloadErrors([](ActionContext&, const ActionCall& call) {
//     const PayloadReader payload(call.payload);
//     const std::string name = payload.object("user").nonEmptyText("name");
//     return ActionReply::success(JSONObject{{"hello", name}});
//   });
//   // {"user":{"name":7}} answers {"ok":false,"error":"Invalid greet payload: user.name must be a
//   // non-empty string"}
//
// A reader refers to the value it reads, which must outlive it. Readers are plain values: any
// thread. Nothing here throws but PayloadError and std::bad_alloc.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

// A payload member that is missing or not what the action takes; what() is "<path> is missing"
// or "<path> must be <what it takes>".
class PayloadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class PayloadReader {
 public:
  // Reads the payload itself; `payload` must be an object.
  explicit PayloadReader(const JSONValue& payload) : PayloadReader(payload, "payload", "") {}

  const JSONValue& value() const noexcept { return value_; }

  PayloadReader object(std::string_view key) const;
  // Each element of the array `key`, which must all be objects.
  std::vector<PayloadReader> objects(std::string_view key) const;
  std::string text(std::string_view key) const;
  std::string nonEmptyText(std::string_view key) const;
  std::optional<std::string> nullableText(std::string_view key) const;  // absent for null
  // Text that reads as an ISO 8601 date, returned as it was sent.
  std::string date(std::string_view key) const;
  bool flag(std::string_view key) const;
  double number(std::string_view key) const;
  std::optional<double> nullableNumber(std::string_view key) const;  // absent for null
  // An array of strings; absent for null.
  std::optional<std::vector<std::string>> nullableTexts(std::string_view key) const;
  // An object, returned as it was sent; absent for null.
  std::optional<JSONObject> nullableObject(std::string_view key) const;
  // Text that holds a JSON document, returned as it was sent; absent for null.
  std::optional<std::string> nullableJSONText(std::string_view key) const;

 private:
  // `path` names `value` in messages; `prefix` is what its members' paths begin with.
  PayloadReader(const JSONValue& value, const std::string& path, std::string prefix);

  const JSONValue& member(std::string_view key) const;
  std::string pathOf(std::string_view key) const { return prefix_ + std::string(key); }
  [[noreturn]] void reject(std::string_view key, std::string_view takes) const;

  const JSONValue& value_;
  std::string prefix_;
};

// The handler, with a PayloadError answered as "Invalid <action> payload: <what>".
ActionHandler answeringPayloadErrors(ActionHandler handler);

}  // namespace tarnwell::gateway
