// File: tarnwell/presentation/overlay_host.h
//
// TarnwellOverlayHost is the view a host wraps round its own content so that surveys and
// announcements can appear: its tree is the host's content, then the current survey, then the
// current announcement in front. It holds no delivery state of its own; it watches the current
// items and keeps one presenter per layer, keyed by the item's id, so a new id starts with fresh
// state and the same id keeps the answers given so far.
//
//   tarnwell::TarnwellOverlayHost overlay(sdk.overlayFeeds(), [&] { return myScreen(); });
//   overlay.setOnChange([&] { window.requestRedraw(); });
//   renderer.draw(overlay.tree());   // every frame, on the SDK's main context
//
// Each layer enters and leaves with scale and opacity on a spring of response 0.32, damping
// fraction 0.88 and blend duration 0, keyed by the item's id; the renderer reads that from the
// layer's Transition. Both layers are drawn when both items are current.
// Threads: the SDK's main context only (the feeds deliver there). A tree may be used only while
// the overlay lives, and only until the next change of a current item.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <tarnwell/export.h>
#include <tarnwell/platform/published.h>
#include <tarnwell/presentation/announcement_presenter_view.h>
#include <tarnwell/presentation/survey_presenter_view.h>
#include <tarnwell/ui/node.h>

namespace tarnwell {

// What the overlay watches and what its presenters call. Tarnwell::overlayFeeds() fills it from
// the facade; a test or a host with its own delivery fills it by hand.
struct OverlayFeeds {
  using Watch = std::function<Subscription(std::function<void(const std::optional<Survey>&)>)>;
  Watch watchSurvey;
  Watch watchAnnouncement;
  SurveyPresenterActions surveyActions;
  AnnouncementPresenterActions announcementActions;
};

class TARNWELL_API TarnwellOverlayHost {
 public:
  // `content` builds the host's own layer; it is asked again for each tree.
  TarnwellOverlayHost(OverlayFeeds feeds, std::function<ui::Node()> content);
  TarnwellOverlayHost(const TarnwellOverlayHost&) = delete;
  TarnwellOverlayHost& operator=(const TarnwellOverlayHost&) = delete;

  // Called after a current item changed, for hosts that draw only on demand.
  void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

  // Content, survey layer, announcement layer, back to front.
  ui::Node tree();

  // The presenters on screen, if any: for hosts that draw with their own toolkit.
  SurveyPresenterView* surveyView() noexcept { return survey_.get(); }
  AnnouncementPresenterView* announcementView() noexcept { return announcement_.get(); }

  // The spring both layers move on.
  static constexpr ui::Spring kLayerSpring{0.32, 0.88, 0};

 private:
  void showSurvey(const std::optional<Survey>& survey);
  void showAnnouncement(const std::optional<Survey>& announcement);

  OverlayFeeds feeds_;
  std::function<ui::Node()> content_;
  std::function<void()> onChange_;
  std::unique_ptr<SurveyPresenterView> survey_;
  std::unique_ptr<AnnouncementPresenterView> announcement_;
  Subscription surveyWatch_;
  Subscription announcementWatch_;
};

}  // namespace tarnwell
