// File: tarnwell/core/detail/timestamp_coding.h
//
// Dates in payloads travel as ISO 8601 texts in UTC with three fractional digits; decoding also
// takes them without the fraction.
#pragma once

#include "tarnwell/core/detail/record_coding.h"
#include "tarnwell/core/iso8601.h"
#include "tarnwell/core/timestamp.h"

namespace tarnwell::detail {

template <>
struct JSONCoder<Timestamp> {
  static Timestamp decode(const JSONValue& value, const CodingPath& path) {
    if (const JSONString* text = value.asString()) {
      if (std::optional<Timestamp> time = parseISO8601Date(text->view())) return *time;
    }
    throwTypeMismatch(path, "an ISO 8601 date", value);
  }
  static JSONValue encode(Timestamp value) { return JSONValue(formatISO8601Date(value)); }
};

}  // namespace tarnwell::detail
