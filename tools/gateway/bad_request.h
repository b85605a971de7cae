// File: tools/gateway/bad_request.h
//
// BadRequest is a request body the local gateway cannot act on: a function execution that is
// not one, a gateway input of the wrong shape, a fault that does not fit. The server answers it
// with HTTP 400 and what() as the message.
#pragma once

#include <stdexcept>

namespace tarnwell::gateway {

class BadRequest : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarnwell::gateway
