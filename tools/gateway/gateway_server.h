// File: tools/gateway/gateway_server.h
//
// GatewayServer is the local stand-in of the backend gateway: an HTTP server that answers the
// SDK's function executions from a content document, remembers sessions, every call and what
// the actions store in SQLite, and lets tests inspect all of it and inject faults.
//
//   GatewayServer server(GatewayContent::load("gateway-content.json"), ":memory:");
//   server.start("127.0.0.1", 0);       // an ephemeral port
//   std::string endpoint = server.url(); // "http://127.0.0.1:40123/v1"
//   ...
//   server.stop();
//
// Routes, under the base URL's host:
//   POST   /v1/functions/{functionId}/executions   gateway calls (header X-Appwrite-Project)
//   GET    /__gateway/requests[?action=NAME]       the calls received, in arrival order
//   DELETE /__gateway/requests                     forgets them
//   GET    /__gateway/events[?name=NAME]           the events stored, maps decoded, in arrival order
//   GET    /__gateway/users                        the latest state of each profile; identified users
//   GET    /__gateway/sessions                     the app sessions reported
//   GET    /__gateway/telemetry                    the runtime telemetry items stored
//   GET    /__gateway/content                      the version mark of each content section
//   POST   /__gateway/content                      replaces the sections (and keys) given
//   GET    /__gateway/faults                       the pending faults
//   POST   /__gateway/faults                       adds a fault (see faults.h)
//   DELETE /__gateway/faults                       clears them
//
// Every member may be called from any thread. A server starts at most once; stop() releases
// answers held by a delay fault, waits for running handlers and is final.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <tarnwell/platform/clock.h>

#include "tools/gateway/actions.h"
#include "tools/gateway/content.h"
#include "tools/gateway/execution_wire.h"
#include "tools/gateway/faults.h"
#include "tools/gateway/gateway_store.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace tarnwell::gateway {

struct GatewayOptions {
  // The source of "now" for recorded times and of waiting for delay faults.
  std::shared_ptr<Clock> clock = systemClock();
  ActionTable actions = standardActions();
};

class GatewayServer {
 public:
  // Opens the database at `databasePath` (":memory:" allowed); throws StoreError if it cannot.
  GatewayServer(GatewayContent content, const std::string& databasePath, GatewayOptions options = {});
  ~GatewayServer();
  GatewayServer(const GatewayServer&) = delete;
  GatewayServer& operator=(const GatewayServer&) = delete;

  // Binds `host`:`port` (0 for an ephemeral port) and serves on threads of its own; returns the
  // bound port once connections are accepted. Throws std::runtime_error if it cannot bind, and
  // std::logic_error when called a second time.
  int start(const std::string& host = "127.0.0.1", int port = 0);
  // "http://HOST:PORT/v1", the endpoint the SDK is configured with; empty before start().
  std::string url() const;
  void stop();

 private:
  void addRoutes(httplib::Server& http);
  void handleExecution(const httplib::Request& request, httplib::Response& response);
  // True when the call may go on; otherwise `response` holds the refusal.
  bool admit(const httplib::Request& request, httplib::Response& response) const;
  // True when the call is still to be answered normally (a delay that has passed).
  bool applyFault(const Fault& fault, const httplib::Request& request, httplib::Response& response);
  void answer(const ExecutionRequest& call, httplib::Response& response);
  // The content being served. A caller keeps the snapshot it took while the content is
  // replaced, so one answer is made from one content.
  std::shared_ptr<const GatewayContent> content() const;
  // Replaces the content by content().updated(changes); throws ContentError and keeps the
  // content when the changes do not fit.
  std::shared_ptr<const GatewayContent> updateContent(std::string_view changes);
  // The support team's side of the message center.
  void addMessageCenterRoutes(httplib::Server& http);

  std::mutex updateMutex_;           // one content update at a time, from read to swap
  mutable std::mutex contentMutex_;  // guards content_
  std::shared_ptr<const GatewayContent> content_;
  std::shared_ptr<Clock> clock_;
  ActionTable actions_;
  GatewayStore store_;
  FaultPlan faults_;
  DelayGate delays_;

  mutable std::mutex mutex_;  // guards the members below
  std::unique_ptr<httplib::Server> http_;
  std::thread thread_;
  std::string url_;
  bool started_ = false;
};

}  // namespace tarnwell::gateway
