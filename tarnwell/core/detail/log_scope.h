// File: tarnwell/core/detail/log_scope.h
//
// LogScope routes the log lines of the current thread to one SDK object's sink for as long as it
// lives, ahead of the process's sink (setLogSink) and standard output. Each Tarnwell object runs
// its threads, its main context and the calls it takes on the host's thread inside a scope of its
// own sink, so two objects in one process never share or steal sinks. Scopes nest; an empty sink
// leaves the lines to whatever was in force before.
//
//   auto sink = std::make_shared<const LogSink>(options.logSink);
//   std::thread worker([sink] { LogScope scope(sink); /* every log line here goes to *sink */ });
//
// The scope only points at the sink: whoever installs it keeps the sink alive for its life.
#pragma once

#include <memory>

#include "tarnwell/core/log.h"

namespace tarnwell::detail {

using SharedLogSink = std::shared_ptr<const LogSink>;

class LogScope {
 public:
  explicit LogScope(const SharedLogSink& sink) noexcept;
  ~LogScope();
  LogScope(const LogScope&) = delete;
  LogScope& operator=(const LogScope&) = delete;

 private:
  const LogSink* previous_;
};

}  // namespace tarnwell::detail
