// File: tarnwell/core/log.h
//
// The SDK's one logging channel: one line per call, with the prefixes "[Tarnwell][INFO] ",
// "[Tarnwell][WARN] " and "[Tarnwell][ERROR] ". An error line is the prefix, the message, the
// separator " :: " and the error's text. Lines go to standard output unless the host installs
// a sink of its own: for one SDK object through HostOptions::logSink, which only that object's
// lines reach, or for the whole process through setLogSink, which takes every line no object
// claims.
//
//   tarnwell::setLogSink([](tarnwell::LogLevel, std::string_view line) { myLogger(line); });
//   tarnwell::logWarn("Ignoring event " + name + " before SDK ready");
//
// Every function here may be called from any thread and never throws.
#pragma once

#include <functional>
#include <string_view>

#include <tarnwell/export.h>

namespace tarnwell {

enum class LogLevel { info, warn, error };

// Receives each finished line, prefix included, without a trailing new line. Called on the
// thread that logged; calls are serialised, so a sink needs no lock of its own.
using LogSink = std::function<void(LogLevel level, std::string_view line)>;

// Replaces the process's sink; an empty function restores standard output.
TARNWELL_API void setLogSink(LogSink sink);

TARNWELL_API void logInfo(std::string_view message) noexcept;
TARNWELL_API void logWarn(std::string_view message) noexcept;
TARNWELL_API void logError(std::string_view message) noexcept;
// "[Tarnwell][ERROR] " + message + " :: " + errorText.
TARNWELL_API void logError(std::string_view message, std::string_view errorText) noexcept;

}  // namespace tarnwell
