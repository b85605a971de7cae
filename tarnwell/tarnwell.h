// File: tarnwell/tarnwell.h
//
// Everything a host application uses: include this one header and link tarnwell::tarnwell.
// It pulls in no third-party header.
#pragma once

#include <tarnwell/core/log.h>
#include <tarnwell/platform/http_transport.h>
#include <tarnwell/platform/key_value_store.h>
