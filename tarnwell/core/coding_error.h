// File: tarnwell/core/coding_error.h
//
// The errors of JSON coding. A DecodingError says, in words a developer can act on, what in a
// document did not fit: "Unable to parse JSON: ..." for text that is not JSON, or a key path
// and the expectation for a record that does not match its fields.
#pragma once

#include <stdexcept>
#include <string>

#include <tarnwell/export.h>

namespace tarnwell {

class TARNWELL_API DecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class TARNWELL_API EncodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarnwell
