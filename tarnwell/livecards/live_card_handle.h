// File: tarnwell/livecards/live_card_handle.h
//
// What Tarnwell::createLiveCardView hands the host for a trigger: the card to place in its own
// screen, and the two tracking hooks a view of it calls. The library does not draw live cards
// yet; a later view wraps exactly this handle, so a host that draws the card itself reports what
// that view will report.
//
//   sdk.createLiveCardView("home_top", [](std::optional<tarnwell::LiveCardHandle> handle) {
//     if (!handle) return;                          // no card for this trigger and user
//     showMyCard(handle->card);
//     handle->trackImpression();                    // on first appearance; repeats send nothing
//     onMyCardTapped([handle = *handle] {
//       tarnwell::LiveCardAction tap;
//       tap.position = "list_tile";
//       handle.trackClick(tap, {});
//     });
//   });
//
// Contract: the hooks may be called from any thread, any number of times; their work runs on the
// SDK's main context and the click's completion runs there once it has ended. They report through
// the live-card manager that chose the card, also after a new start-up replaced it. The Tarnwell
// object must outlive every call of a hook. Plain values otherwise, safe to copy across threads.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <tarnwell/livecards/live_card.h>

namespace tarnwell {

// What the user pressed on a card; every field may stay absent. The click event fills the
// defaults: button type "primary", action type "deeplink", the card's deepLink as the target,
// -1 as the carousel index.
struct LiveCardAction {
  std::optional<std::string> buttonType;
  std::optional<std::string> buttonId;
  std::optional<std::string> actionType;
  std::optional<std::string> actionTarget;
  std::optional<std::int64_t> carouselItemIndex;
  std::optional<std::string> position;  // e.g. "list_tile", "carousel"

  friend bool operator==(const LiveCardAction&, const LiveCardAction&) = default;
};

struct LiveCardHandle {
  LiveCard card;
  // Reports the card as seen: once per card for the life of the manager, then nothing.
  std::function<void()> trackImpression;
  // Reports a click, with the seconds since the card's impression; `completion` (may be empty)
  // runs once the backend has answered or failed. Never retried.
  std::function<void(LiveCardAction action, std::function<void()> completion)> trackClick;
};

}  // namespace tarnwell
