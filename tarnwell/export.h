// File: tarnwell/export.h
//
// TARNWELL_API marks what a shared build of the library exports; everything else is hidden.
#pragma once

#if defined(TARNWELL_SHARED)
#if defined(TARNWELL_BUILDING_SHARED)
#define TARNWELL_API __attribute__((visibility("default")))
#else
#define TARNWELL_API
#endif
#else
#define TARNWELL_API
#endif
