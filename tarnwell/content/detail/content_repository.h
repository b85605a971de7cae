// File: tarnwell/content/detail/content_repository.h
//
// What every content repository (surveys, announcements, live cards, flags) shares: a gateway
// and a runtime bundle repository of its own over the one client, and the way it reads its list:
// from the runtime bundle when there is one (an empty list there is final), else through its own
// list action, else an empty list and an ERROR line; and how it submits an acknowledged write.
// Never throws. Internal: includes Asio.
//
//   class SurveyRepository : public ContentRepository {
//     asio::awaitable<std::vector<Survey>> getSurveys() {
//       return readList(&RuntimeBundle::surveys, "get_surveys", "Failed to fetch surveys");
//     }
//   };
#pragma once

#include <asio/awaitable.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tarnwell/backend/detail/gateway_errors.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/content/detail/runtime_bundle_repository.h"
#include "tarnwell/core/log.h"

namespace tarnwell::detail {

class ContentRepository {
 public:
  ContentRepository(RuntimeGatewayRepository gateway, RuntimeBundleRepository runtimeBundle)
      : gateway_(std::move(gateway)), runtimeBundle_(std::move(runtimeBundle)) {}

 protected:
  template <GatewayRecord T>
  asio::awaitable<std::vector<T>> readList(std::vector<T> RuntimeBundle::*list, std::string action,
                                           std::string_view failureText) {
    std::optional<RuntimeBundle> bundle = co_await runtimeBundle_.loadBundle(false);
    if (bundle) co_return std::move((*bundle).*list);
    try {
      co_return co_await gateway_.executeList<T>(std::move(action), JSONObject{}, "items", true);
    } catch (const std::exception& error) {
      logError(failureText, textualForm(error));
    }
    co_return std::vector<T>{};
  }

  // An acknowledged write: whether the reply's "success" says so (missing counts as yes); false
  // with an ERROR line when the call fails.
  asio::awaitable<bool> submit(std::string action, JSONObject payload, std::string_view failureText) {
    try {
      co_return co_await gateway_.executeBoolean(std::move(action), std::move(payload), "success", true);
    } catch (const std::exception& error) {
      logError(failureText, textualForm(error));
    }
    co_return false;
  }

  RuntimeGatewayRepository gateway_;
  RuntimeBundleRepository runtimeBundle_;
};

}  // namespace tarnwell::detail
