// An overlay over a host screen with the items a test puts on it, as the renderer tests and the
// frame benchmark draw it.
#pragma once

#include <optional>
#include <string>

#include <tarnwell/platform/main_context.h>
#include <tarnwell/platform/published.h>
#include <tarnwell/presentation/overlay_host.h>
#include <tarnwell/ui/node.h>

namespace tarnwell::testing {

inline Survey npsSurvey() {
  Survey survey;
  survey.id = "s1";
  survey.status = "published";
  survey.templateId = "nps_survey";
  survey.structureJSON = R"({"title":"How likely are you to recommend us?",
    "questions":[{"id":"nps_score","type":"nps"},{"id":"why","type":"text"}]})";
  return survey;
}

struct OverlayScene {
  MainContext main{MainContext::Mode::hostPumped};
  Published<std::optional<Survey>> survey{main, std::nullopt};
  Published<std::optional<Survey>> announcement{main, std::nullopt};
  int dismissals = 0;
  TarnwellOverlayHost overlay{
      OverlayFeeds{.watchSurvey = [this](auto observer) { return survey.subscribe(std::move(observer)); },
                   .watchAnnouncement = [this](auto observer) { return announcement.subscribe(std::move(observer)); },
                   .surveyActions = {.submit = {}, .dismiss = [this] { ++dismissals; }},
                   .announcementActions = {}},
      [] { return ui::text("Host screen", ui::TextRole::body); }};

  explicit OverlayScene(std::optional<Survey> shownSurvey, std::optional<Survey> shownAnnouncement = std::nullopt) {
    survey.set(std::move(shownSurvey));
    announcement.set(std::move(shownAnnouncement));
    main.poll();
  }
  ui::Node tree() {
    main.poll();
    return overlay.tree();
  }
};

// One NPS survey on screen.
struct NpsOverlay : OverlayScene {
  NpsOverlay() : OverlayScene(npsSurvey()) {}
};

}  // namespace tarnwell::testing
