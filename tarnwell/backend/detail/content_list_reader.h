// File: tarnwell/backend/detail/content_list_reader.h
//
// How every content repository reads its list: from the runtime bundle when there is one (an
// empty list there is final), else through the repository's own list action, else an empty
// list and an ERROR line. Never throws. Internal: includes Asio.
//
//   co_return co_await readContentList(bundles, gateway, &RuntimeBundle::surveys, "get_surveys",
//                                      "Failed to fetch surveys");
#pragma once

#include <asio/awaitable.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tarnwell/backend/detail/runtime_bundle_repository.h"
#include "tarnwell/backend/detail/runtime_gateway_repository.h"
#include "tarnwell/backend/gateway_errors.h"
#include "tarnwell/core/log.h"

namespace tarnwell {

template <GatewayRecord T>
asio::awaitable<std::vector<T>> readContentList(RuntimeBundleRepository& bundles, RuntimeGatewayRepository& gateway,
                                                std::vector<T> RuntimeBundle::*list, std::string action,
                                                std::string_view failureText) {
  std::optional<RuntimeBundle> bundle = co_await bundles.loadBundle(false);
  if (bundle) co_return std::move((*bundle).*list);
  try {
    co_return co_await gateway.executeList<T>(std::move(action), JSONObject{}, "items", true);
  } catch (const std::exception& error) {
    logError(failureText, textualForm(error));
  }
  co_return std::vector<T>{};
}

}  // namespace tarnwell
