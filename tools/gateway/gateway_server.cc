#include "tools/gateway/gateway_server.h"

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <stdexcept>
#include <utility>

#include <tarnwell/core/coding_error.h>
#include <tarnwell/core/iso8601.h>

#include "tools/gateway/connection_drop.h"
#include "tools/gateway/message_center_actions.h"

namespace tarnwell::gateway {
namespace {

// Handlers held by delay faults each keep a worker; leave room for the calls around them.
constexpr std::size_t kWorkerThreads = 32;
constexpr std::size_t kMaxBodyBytes = 16 << 20;
// A reply cut short in the middle of its JSON, as a proxy that gave up would leave it.
constexpr std::string_view kMalformedBody = R"({"ok":true,"data":{"items":[)";

void sendJSON(httplib::Response& response, int status, const std::string& body) {
  response.status = status;
  response.set_content(body, "application/json");
}

void sendError(httplib::Response& response, int status, std::string_view type, std::string_view message) {
  sendJSON(response, status, errorBody(status, type, message));
}

// The rows' JSON forms, in their order.
template <typename Rows>
JSONArray listOf(const Rows& rows) {
  JSONArray items;
  items.reserve(rows.size());
  for (const auto& row : rows) items.push_back(row.toJSON());
  return items;
}

std::string itemsOf(JSONArray items) { return JSONValue(JSONObject{{"items", std::move(items)}}).encode(); }

std::string usersOf(IdentityStore& identity) {
  return JSONValue(JSONObject{{"profiles", listOf(identity.userStates())},
                              {"identifiedUsers", listOf(identity.identifiedUsers())}})
      .encode();
}

// The value of the query parameter `name`, when it is given.
std::optional<std::string> parameter(const httplib::Request& request, const char* name) {
  if (!request.has_param(name)) return std::nullopt;
  return request.get_param_value(name);
}

// {"versions": {section: mark, ...}} in the order of kContentSections.
std::string versionsOf(const GatewayContent& content) {
  JSONObject versions;
  for (const std::string_view name : kContentSections) versions.set(std::string(name), content.section(name).version);
  return JSONValue(JSONObject{{"versions", std::move(versions)}}).encode();
}

std::string listOfFaults(const FaultPlan& plan) {
  return JSONValue(JSONObject{{"faults", listOf(plan.pending())}}).encode();
}

// Refusals httplib makes itself (no route, body too large) get a JSON body like ours.
httplib::Server::HandlerResponse describeRefusal(const httplib::Request&, httplib::Response& response) {
  if (!response.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
  if (response.status == 404) {
    sendError(response, 404, "general_route_not_found", "The requested route was not found");
  } else {
    sendError(response, response.status, "general_argument_invalid",
              "The request was refused with HTTP " + std::to_string(response.status));
  }
  return httplib::Server::HandlerResponse::Handled;
}

void describeException(const httplib::Request&, httplib::Response& response, std::exception_ptr error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    sendError(response, 500, "general_server_error", exception.what());
  } catch (...) {
    sendError(response, 500, "general_server_error", "Unknown error");
  }
}

// The JSON body of an inspection call; BadRequest when it is not JSON.
JSONValue bodyOf(const httplib::Request& request) {
  try {
    return JSONValue::decode(request.body);
  } catch (const DecodingError& error) {
    throw BadRequest(std::string("The body is not JSON: ") + error.what());
  }
}

std::string itemOf(JSONValue document) { return JSONValue(JSONObject{{"item", std::move(document)}}).encode(); }

void sendThreadNotFound(httplib::Response& response, const std::string& threadId) {
  sendError(response, 404, "document_not_found", "Thread not found: " + threadId);
}

// Support answers in a thread: {"content": text}.
void replyAsSupport(MessageCenterStore& store, const Clock& clock, const httplib::Request& request,
                    httplib::Response& response) {
  const std::string threadId = request.matches[1];
  const JSONValue body = bodyOf(request);
  const JSONString* content = body["content"].asString();
  if (!body.isObject() || content == nullptr || content->empty()) {
    throw BadRequest("The body must be {\"content\": <a non-empty string>}");
  }
  const MessageAdded added = postSupportReply(store, clock, threadId, content->str());
  switch (added.outcome) {
    case ThreadChange::unknownThread: sendThreadNotFound(response, threadId); return;
    case ThreadChange::closedThread: sendError(response, 409, "thread_closed", "Thread is closed: " + threadId); return;
    case ThreadChange::done: sendJSON(response, 200, itemOf(added.message)); return;
  }
}

}  // namespace

GatewayServer::GatewayServer(GatewayContent content, const std::string& databasePath, GatewayOptions options)
    : content_(std::make_shared<const GatewayContent>(std::move(content))),
      clock_(std::move(options.clock)),
      actions_(std::move(options.actions)),
      store_(databasePath),
      delays_(clock_) {
  store_.messageCenterStore().seed(content_->document["messageCenter"]);
}

GatewayServer::~GatewayServer() { stop(); }

int GatewayServer::start(const std::string& host, int port) {
  std::lock_guard lock(mutex_);
  if (started_) throw std::logic_error("A GatewayServer starts only once");
  auto http = std::make_unique<httplib::Server>();
  http->new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
  // One answer per connection: a client re-sends a request once when a kept-alive connection
  // closes without a word, which would hide a dropped connection from it.
  http->set_keep_alive_max_count(1);
  http->set_payload_max_length(kMaxBodyBytes);
  addRoutes(*http);

  const int bound = port == 0 ? http->bind_to_any_port(host) : (http->bind_to_port(host, port) ? port : -1);
  if (bound <= 0) throw std::runtime_error("Cannot listen on " + host + ":" + std::to_string(port));
  auto listening = std::make_shared<std::atomic<bool>>(true);
  thread_ = std::thread([server = http.get(), listening] {
    server->listen_after_bind();
    *listening = false;
  });
  // stop() does nothing to a server that has not entered its accept loop yet, so wait for it.
  while (!http->is_running() && *listening) std::this_thread::yield();
  if (!http->is_running()) {
    thread_.join();
    throw std::runtime_error("Cannot serve on " + host + ":" + std::to_string(bound));
  }
  started_ = true;
  http_ = std::move(http);
  const std::string shownHost = host.find(':') == std::string::npos ? host : "[" + host + "]";
  url_ = "http://" + shownHost + ":" + std::to_string(bound) + "/v1";
  return bound;
}

std::string GatewayServer::url() const {
  std::lock_guard lock(mutex_);
  return url_;
}

void GatewayServer::stop() {
  std::unique_ptr<httplib::Server> http;
  std::thread thread;
  {
    std::lock_guard lock(mutex_);
    http = std::move(http_);
    thread = std::move(thread_);
    url_.clear();
  }
  delays_.close();
  if (http) http->stop();
  if (thread.joinable()) thread.join();
}

void GatewayServer::addRoutes(httplib::Server& http) {
  http.Post(
      R"(/v1/functions/([^/]+)/executions)",
      [this](const httplib::Request& request, httplib::Response& response) { handleExecution(request, response); });
  http.Get("/__gateway/requests", [this](const httplib::Request& request, httplib::Response& response) {
    sendJSON(response, 200, itemsOf(listOf(store_.requests(parameter(request, "action")))));
  });
  http.Delete("/__gateway/requests", [this](const httplib::Request&, httplib::Response& response) {
    store_.clearRequests();
    sendJSON(response, 200, itemsOf(listOf(store_.requests())));
  });
  http.Get("/__gateway/events", [this](const httplib::Request& request, httplib::Response& response) {
    sendJSON(response, 200, itemsOf(listOf(store_.eventStore().events(parameter(request, "name")))));
  });
  http.Get("/__gateway/responses", [this](const httplib::Request& request, httplib::Response& response) {
    const ResponseFilter filter{parameter(request, "surveyId"), parameter(request, "bannerId"), false, std::nullopt};
    sendJSON(response, 200, itemsOf(listOf(store_.responseStore().responses(filter))));
  });
  http.Get("/__gateway/telemetry", [this](const httplib::Request&, httplib::Response& response) {
    sendJSON(response, 200, itemsOf(listOf(store_.eventStore().telemetry())));
  });
  http.Get("/__gateway/sessions", [this](const httplib::Request&, httplib::Response& response) {
    sendJSON(response, 200, itemsOf(listOf(store_.identityStore().sessions())));
  });
  http.Get("/__gateway/users", [this](const httplib::Request&, httplib::Response& response) {
    sendJSON(response, 200, usersOf(store_.identityStore()));
  });
  http.Get("/__gateway/live-card-clicks", [this](const httplib::Request& request, httplib::Response& response) {
    const ResponseFilter filter{std::nullopt, std::nullopt, true, parameter(request, "liveCardId")};
    sendJSON(response, 200, itemsOf(listOf(store_.responseStore().responses(filter))));
  });
  addMessageCenterRoutes(http);
  http.Get("/__gateway/content", [this](const httplib::Request&, httplib::Response& response) {
    sendJSON(response, 200, versionsOf(*content()));
  });
  http.Post("/__gateway/content", [this](const httplib::Request& request, httplib::Response& response) {
    try {
      sendJSON(response, 200, versionsOf(*updateContent(request.body)));
    } catch (const ContentError& error) {
      sendError(response, 400, "general_argument_invalid", error.what());
    }
  });
  http.Get("/__gateway/faults", [this](const httplib::Request&, httplib::Response& response) {
    sendJSON(response, 200, listOfFaults(faults_));
  });
  http.Post("/__gateway/faults", [this](const httplib::Request& request, httplib::Response& response) {
    try {
      faults_.add(parseFault(request.body));
    } catch (const BadRequest& error) {
      sendError(response, 400, "general_argument_invalid", error.what());
      return;
    }
    sendJSON(response, 200, listOfFaults(faults_));
  });
  http.Delete("/__gateway/faults", [this](const httplib::Request&, httplib::Response& response) {
    faults_.clear();
    sendJSON(response, 200, listOfFaults(faults_));
  });
  http.set_error_handler(httplib::Server::HandlerWithResponse(describeRefusal));
  http.set_exception_handler(describeException);
}

void GatewayServer::addMessageCenterRoutes(httplib::Server& http) {
  // An inspection body that does not fit answers 400 with what is wrong.
  const auto guarded = [](auto route) {
    return [route](const httplib::Request& request, httplib::Response& response) {
      try {
        route(request, response);
      } catch (const BadRequest& error) {
        sendError(response, 400, "general_argument_invalid", error.what());
      }
    };
  };
  MessageCenterStore& center = store_.messageCenterStore();
  http.Get("/__gateway/threads", [&center](const httplib::Request&, httplib::Response& response) {
    std::vector<JSONValue> threads = center.allThreads();
    sendJSON(response, 200,
             itemsOf(JSONArray(std::make_move_iterator(threads.begin()), std::make_move_iterator(threads.end()))));
  });
  http.Post(R"(/__gateway/threads/([^/]+)/reply)",
            guarded([this, &center](const httplib::Request& request, httplib::Response& response) {
              replyAsSupport(center, *clock_, request, response);
            }));
  http.Post(R"(/__gateway/threads/([^/]+)/close)",
            [this, &center](const httplib::Request& request, httplib::Response& response) {
              const std::string threadId = request.matches[1];
              std::optional<JSONValue> thread = center.setStatus(threadId, kClosedThreadStatus, backendDate(*clock_));
              if (!thread) return sendThreadNotFound(response, threadId);
              sendJSON(response, 200, itemOf(std::move(*thread)));
            });
  http.Get("/__gateway/message-center/settings", [&center](const httplib::Request&, httplib::Response& response) {
    const std::optional<JSONValue> settings = center.settings();
    sendJSON(response, 200, itemOf(settings ? *settings : JSONValue()));
  });
  http.Put("/__gateway/message-center/settings",
           guarded([&center](const httplib::Request& request, httplib::Response& response) {
             const JSONValue settings = bodyOf(request);
             if (!settings.isObject() && !settings.isNull()) {
               throw BadRequest("The settings must be a JSON object, or null for none");
             }
             center.replaceSettings(settings);
             sendJSON(response, 200, itemOf(settings));
           }));
  http.Get("/__gateway/push-tokens", [&center](const httplib::Request&, httplib::Response& response) {
    sendJSON(response, 200, itemsOf(listOf(center.pushTokens())));
  });
}

std::shared_ptr<const GatewayContent> GatewayServer::content() const {
  std::lock_guard lock(contentMutex_);
  return content_;
}

std::shared_ptr<const GatewayContent> GatewayServer::updateContent(std::string_view changes) {
  std::lock_guard update(updateMutex_);
  const std::shared_ptr<const GatewayContent> previous = content();
  auto next = std::make_shared<const GatewayContent>(previous->updated(changes));
  // New message center documents in the content join those kept; what users did stays.
  if (next->document["messageCenter"] != previous->document["messageCenter"]) {
    store_.messageCenterStore().seed(next->document["messageCenter"]);
  }
  std::lock_guard lock(contentMutex_);
  content_ = next;
  return next;
}

bool GatewayServer::admit(const httplib::Request& request, httplib::Response& response) const {
  const std::shared_ptr<const GatewayContent> content = this->content();
  const std::string project = request.get_header_value("X-Appwrite-Project");
  if (project != content->projectId) {
    sendError(response, 401, "user_unauthorized",
              project.empty() ? "No project was given: send the X-Appwrite-Project header"
                              : "The project " + project + " is not served by this gateway");
    return false;
  }
  if (request.matches[1] != content->functionId) {
    sendError(response, 404, "function_not_found", "Function with the requested ID could not be found.");
    return false;
  }
  return true;
}

void GatewayServer::handleExecution(const httplib::Request& request, httplib::Response& response) {
  if (!admit(request, response)) return;
  ExecutionRequest call;
  try {
    call = parseExecutionRequest(request.body);
  } catch (const BadRequest& error) {
    sendError(response, 400, "general_argument_invalid", error.what());
    return;
  }
  const std::optional<Fault> fault = faults_.take(call.action);
  store_.recordRequest({call.action, call.payload, call.sessionToken, formatISO8601Date(clock_->now()),
                        fault ? fault->httpStatus() : 200,
                        fault ? std::optional<std::string>(fault->name()) : std::nullopt});
  if (fault && !applyFault(*fault, request, response)) return;
  answer(call, response);
}

bool GatewayServer::applyFault(const Fault& fault, const httplib::Request& request, httplib::Response& response) {
  switch (fault.kind) {
    case FaultKind::status:
      sendError(response, fault.status, "injected_fault", "Injected fault: HTTP " + std::to_string(fault.status));
      return false;
    case FaultKind::malformed:
      response.status = 200;
      response.set_content(std::string(kMalformedBody), "application/json");
      return false;
    case FaultKind::emptyBody: response.status = fault.status; return false;
    case FaultKind::drop:
      if (!dropConnection(request)) {
        sendError(response, 500, "general_server_error", "The connection could not be dropped");
      }
      return false;
    case FaultKind::delay:
      if (delays_.wait(fault.delay)) return true;
      sendError(response, 503, "general_server_error", "The gateway is stopping");
      return false;
  }
  return true;
}

void GatewayServer::answer(const ExecutionRequest& call, httplib::Response& response) {
  const ActionCall actionCall{call.action, call.payload, call.sessionToken,
                              call.sessionToken ? store_.findSession(*call.sessionToken) : std::nullopt,
                              call.payloadText};
  const std::shared_ptr<const GatewayContent> content = this->content();
  ActionContext context{*content, store_, *clock_};
  const std::string envelope = dispatchAction(actions_, context, actionCall).envelope().encode();
  if (content->envelope == EnvelopeMode::bare) {
    sendJSON(response, 200, envelope);
    return;
  }
  const ExecutionRecord record{backendId(), content->functionId, formatISO8601Date(clock_->now()), envelope};
  sendJSON(response, 200, encodeExecutionRecord(record, call));
}

}  // namespace tarnwell::gateway
