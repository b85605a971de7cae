#include "tarnwell/presentation/overlay_host.h"

namespace tarnwell {
namespace {

// Whether a presenter for `shown` may go on showing `next`: the layer is keyed by the id, and
// two items without an id count as the same key.
bool sameKey(const Survey& shown, const Survey& next) { return shown.id == next.id; }

ui::Node layer(ui::Node presenter, const std::optional<std::string>& key) {
  return std::move(presenter).withTransition(
      {ui::TransitionEffect::scaleWithOpacity, TarnwellOverlayHost::kLayerSpring, key});
}

}  // namespace

TarnwellOverlayHost::TarnwellOverlayHost(OverlayFeeds feeds, std::function<ui::Node()> content)
    : feeds_(std::move(feeds)), content_(std::move(content)) {
  if (feeds_.watchSurvey) {
    surveyWatch_ = feeds_.watchSurvey([this](const std::optional<Survey>& survey) { showSurvey(survey); });
  }
  if (feeds_.watchAnnouncement) {
    announcementWatch_ =
        feeds_.watchAnnouncement([this](const std::optional<Survey>& announcement) { showAnnouncement(announcement); });
  }
}

void TarnwellOverlayHost::showSurvey(const std::optional<Survey>& survey) {
  if (!survey) {
    survey_.reset();
  } else if (!survey_ || !sameKey(survey_->survey(), *survey)) {
    survey_ = std::make_unique<SurveyPresenterView>(*survey, feeds_.surveyActions);
  }
  if (onChange_) onChange_();
}

void TarnwellOverlayHost::showAnnouncement(const std::optional<Survey>& announcement) {
  if (!announcement) {
    announcement_.reset();
  } else if (!announcement_ || !sameKey(announcement_->announcement(), *announcement)) {
    announcement_ = std::make_unique<AnnouncementPresenterView>(*announcement, feeds_.announcementActions);
  }
  if (onChange_) onChange_();
}

ui::Node TarnwellOverlayHost::tree() {
  std::vector<ui::Node> layers;
  layers.push_back(content_ ? content_() : ui::zstack({}));
  if (survey_) layers.push_back(layer(survey_->tree(), survey_->survey().id));
  if (announcement_) layers.push_back(layer(announcement_->tree(), announcement_->announcement().id));
  return ui::zstack(std::move(layers));
}

}  // namespace tarnwell
