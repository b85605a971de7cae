// File: tools/gateway/connection_drop.h
//
// Ends the connection a request came in on without a byte of answer, as a backend that dies
// mid-call would. cpp-httplib gives a handler no hold on its socket, so the socket is found by
// the request's address pair and replaced in place by /dev/null: the peer sees the connection
// close at once, and the answer the server writes afterwards goes nowhere. Nothing is sent
// into a closed socket, so no SIGPIPE is raised.
//
// Call it only from the handler running the request, whose thread owns the socket until the
// handler returns. Never throws.
#pragma once

#include <httplib.h>

namespace tarnwell::gateway {

// False when the socket cannot be found or replaced; the connection is then left as it is.
bool dropConnection(const httplib::Request& request) noexcept;

}  // namespace tarnwell::gateway
