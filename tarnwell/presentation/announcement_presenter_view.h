// File: tarnwell/presentation/announcement_presenter_view.h
//
// AnnouncementPresenterView is the view model of one announcement on screen. It sorts the
// announcement into one of four layouts (feature card, carousel, blocking notice, plain notice),
// derives its title, button texts, body, bullets, slides and text colours once from the
// announcement's structure and config, and on a button press builds the response map that the
// facade normalises and submits. tree() draws the current state as a ui::Node tree.
//
//   AnnouncementPresenterView view(announcement, {
//       .respond = [&](Survey item, JSONObject responses, bool completed) {
//         sdk.submitAnnouncementResponse(item, responses, completed); },
//       .dismiss = [&] { sdk.dismissCurrentAnnouncement(); }});
//   view.layout();                                       // AnnouncementLayout::carousel
//   testing::HeadlessDriver screen([&] { return view.tree(); });
//   screen.page("announcement/a_7/carousel", 2);
//   screen.tap("announcement/a_7/primary");   // {"action":"primary","button_clicked":"get_started",
//                                             //  "page_index":2,"page_title":...}, completed true
//
// Contract: one thread at a time, the main context in the SDK. Nothing here throws on bad
// content: a structure that does not parse reads as empty, a colour text of the wrong form as no
// colour. The actions in a tree call back into the view, so the view must outlive every use of
// the trees it built. Node ids are made from the announcement's id, a node's role and its index
// in its parent only, so they are the same in every process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/core/color.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/surveys/survey.h>
#include <tarnwell/ui/node.h>

namespace tarnwell {

// The four ways an announcement is drawn; the numbers are the ones dashboards use.
enum class AnnouncementLayout {
  feature = 0,   // a card with an optional icon, a title, text and bullets
  carousel = 1,  // slides with indicators
  blocking = 2,  // an outage or a mandatory update
  notice = 3,    // everything else
};

// One slide of a carousel, read from an element of the structure's "items".
struct AnnouncementCarouselItem {
  std::optional<std::string> imageURL;  // "imageUrl", trimmed; absent when empty
  std::string title;                    // "" when missing
  std::string description;              // "" when missing
  std::optional<Color> backgroundColor;
  std::optional<Color> textColor;
  std::optional<std::string> deepLink;

  bool operator==(const AnnouncementCarouselItem&) const = default;
};

// What the buttons reach: the overlay host wires them to the facade.
struct AnnouncementPresenterActions {
  // A button press: the announcement, its response map and whether it counts as completed.
  std::function<void(Survey, JSONObject, bool)> respond;
  // The close mark: nothing is submitted.
  std::function<void()> dismiss;
};

class TARNWELL_API AnnouncementPresenterView {
 public:
  AnnouncementPresenterView(Survey announcement, AnnouncementPresenterActions actions);

  const Survey& announcement() const noexcept { return announcement_; }
  AnnouncementLayout layout() const noexcept { return layout_; }

  const std::string& title() const noexcept { return title_; }
  const std::optional<std::string>& subtitle() const noexcept { return subtitle_; }
  const std::string& primaryButtonText() const noexcept { return primaryText_; }
  const std::string& secondaryButtonText() const noexcept { return secondaryText_; }
  // The description split at line ends, each line trimmed, empty lines dropped from the end.
  const std::vector<std::string>& descriptionLines() const noexcept { return descriptionLines_; }
  // The body text beside the bullets: the description lines joined by line ends, or "" when the
  // description itself became the bullets.
  const std::string& body() const noexcept { return body_; }
  // Bullet texts with their leading marks removed; the view draws its own mark beside each.
  const std::vector<std::string>& bullets() const noexcept { return bullets_; }
  const std::vector<AnnouncementCarouselItem>& slides() const noexcept { return slides_; }

  // Text colours: the field's "textColor" in the structure's field styles, then the config
  // style's text colour; absent means the renderer's own foreground.
  const std::optional<Color>& titleColor() const noexcept { return titleColor_; }
  const std::optional<Color>& subtitleColor() const noexcept { return subtitleColor_; }
  const std::optional<Color>& descriptionColor() const noexcept { return descriptionColor_; }

  // Carousel settings the paged container takes.
  bool showsIndicators() const noexcept { return showIndicators_; }
  bool allowsSwipe() const noexcept { return allowSwipe_; }
  bool autoAdvances() const noexcept { return autoAdvance_; }
  std::optional<std::int64_t> autoAdvanceInterval() const noexcept { return autoAdvanceInterval_; }
  // The pause between pages when the carousel turns by itself. The dashboard writes the interval
  // as a whole number without a unit: small numbers read as seconds, 100 and more as
  // milliseconds; absent, zero or negative gives 5 seconds; at most an hour.
  double autoAdvanceSeconds() const noexcept;

  int selectedCarouselIndex() const noexcept { return selectedCarouselIndex_; }
  // Turns the carousel; an index that names no slide is ignored and answers false.
  bool selectCarouselPage(int index);
  bool isSubmittingPrimary() const noexcept { return submittingPrimary_; }
  bool isSubmittingSecondary() const noexcept { return submittingSecondary_; }

  // The buttons. A press while the same button's submission runs is ignored.
  void pressPrimary();
  void pressSecondary();
  // The close mark: asks the host to dismiss, submits nothing.
  void close();

  // The current state drawn as nodes, built afresh from the parsed readings on each call. Its
  // actions call this view's methods, hence not const.
  ui::Node tree();

 private:
  ui::Node header() const;
  ui::Node textBlock() const;
  ui::Node carousel();
  ui::Node buttons();

  Survey announcement_;
  AnnouncementPresenterActions actions_;
  AnnouncementLayout layout_ = AnnouncementLayout::notice;
  std::string templateId_;
  std::string title_;
  std::optional<std::string> subtitle_;
  std::optional<std::string> iconURL_;
  std::string primaryText_;
  std::string secondaryText_;
  std::vector<std::string> descriptionLines_;
  std::string body_;
  std::vector<std::string> bullets_;
  std::vector<AnnouncementCarouselItem> slides_;
  std::optional<Color> titleColor_;
  std::optional<Color> subtitleColor_;
  std::optional<Color> descriptionColor_;
  bool showIndicators_ = true;
  bool allowSwipe_ = true;
  bool autoAdvance_ = false;
  std::optional<std::int64_t> autoAdvanceInterval_;

  int selectedCarouselIndex_ = 0;
  bool submittingPrimary_ = false;
  bool submittingSecondary_ = false;
};

}  // namespace tarnwell
