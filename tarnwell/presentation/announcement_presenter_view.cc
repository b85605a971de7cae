#include "tarnwell/presentation/announcement_presenter_view.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "tarnwell/core/detail/text.h"
#include "tarnwell/ui/node_id.h"

namespace tarnwell {
namespace {

constexpr std::string_view kBulletMark = "\u2022";
constexpr std::string_view kImageFallbackSymbol = "photo.on.rectangle.angled";

// Trimmed of white space and line ends; absent when nothing is left.
std::optional<std::string> cleaned(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  std::string_view trimmed = detail::trimWhitespaceAndNewlines(*text);
  if (trimmed.empty()) return std::nullopt;
  return std::string(trimmed);
}

std::string lowerTrimmed(const std::optional<std::string>& text) {
  if (!text) return {};
  return detail::toLowerAscii(detail::trimWhitespaceAndNewlines(*text));
}

// The bullet marks a writer may have typed before an entry: "•", "·", "-" and "*", any run of
// them, then the blanks after it.
std::string_view withoutLeadingMarks(std::string_view text) {
  std::size_t at = 0;
  bool any = false;
  for (;;) {
    std::string_view rest = text.substr(at);
    if (rest.starts_with("\u2022")) {
      at += 3;
    } else if (rest.starts_with("\u00B7")) {
      at += 2;
    } else if (rest.starts_with('-') || rest.starts_with('*')) {
      at += 1;
    } else {
      break;
    }
    any = true;
  }
  return any ? text.substr(at) : text;
}

// A bullet as shown: trimmed, its marks removed, trimmed again; absent when nothing is left.
std::optional<std::string> bulletText(std::string_view entry) {
  std::string_view text = detail::trimWhitespaceAndNewlines(entry);
  text = detail::trimWhitespaceAndNewlines(withoutLeadingMarks(text));
  if (text.empty()) return std::nullopt;
  return std::string(text);
}

// The description with its escaped "\n" pairs turned into line ends, split, each line trimmed
// and the empty lines at the end dropped.
std::vector<std::string> descriptionLinesOf(const std::optional<std::string>& description) {
  std::vector<std::string> lines;
  if (!description) return lines;
  std::string text;
  text.reserve(description->size());
  for (std::size_t i = 0; i < description->size(); ++i) {
    if ((*description)[i] == '\\' && i + 1 < description->size() && (*description)[i + 1] == 'n') {
      text += '\n';
      ++i;
    } else {
      text += (*description)[i];
    }
  }
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == '\n' || text[i] == '\r') {
      lines.emplace_back(detail::trimWhitespaceAndNewlines(std::string_view(text).substr(start, i - start)));
      start = i + 1;
    }
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

std::string joinedLines(const std::vector<std::string>& lines) {
  std::string out;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) out += '\n';
    out += lines[i];
  }
  return out;
}

// A slide's value as text: strings, booleans and numbers have one, other kinds count as absent.
std::optional<std::string> slideText(const JSONObject& item, std::string_view key) {
  const JSONValue* value = item.find(key);
  if (value == nullptr) return std::nullopt;
  return value->stringValue();
}

AnnouncementCarouselItem slideOf(const JSONObject& item) {
  AnnouncementCarouselItem slide;
  slide.imageURL = cleaned(slideText(item, "imageUrl"));
  slide.title = slideText(item, "title").value_or("");
  slide.description = slideText(item, "description").value_or("");
  if (auto text = slideText(item, "backgroundColor")) slide.backgroundColor = parseColorText(*text);
  if (auto text = slideText(item, "textColor")) slide.textColor = parseColorText(*text);
  slide.deepLink = slideText(item, "deepLink");
  return slide;
}

AnnouncementLayout classify(std::string_view templateId, const std::optional<SurveyStructure>& structure,
                            std::size_t slideCount) {
  if (templateId == "carousel_announcement") return AnnouncementLayout::carousel;
  if (structure && lowerTrimmed(structure->type) == "carousel") return AnnouncementLayout::carousel;
  if (slideCount > 1) return AnnouncementLayout::carousel;
  if (templateId == "feature_announcement" || templateId == "version_update" || templateId == "maintenance_alert" ||
      templateId == "feature_adoption_prompt") {
    return AnnouncementLayout::feature;
  }
  if (templateId == "service_outage" || templateId == "mandatory_update") return AnnouncementLayout::blocking;
  return AnnouncementLayout::notice;
}

// A button's text as the dashboard counts it: lower case, each run of characters other than
// a-z and 0-9 one "_", no "_" at either end; "action" when nothing is left.
std::string buttonSlug(std::string_view text) {
  std::string lower = detail::toLowerAscii(text);
  std::string slug;
  bool pendingSeparator = false;
  for (char c : lower) {
    bool keep = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
    if (!keep) {
      pendingSeparator = true;
      continue;
    }
    if (pendingSeparator && !slug.empty()) slug += '_';
    pendingSeparator = false;
    slug += c;
  }
  return slug.empty() ? std::string("action") : slug;
}

std::optional<Color> fieldColor(const std::optional<SurveyStructure>& structure,
                                const std::optional<SurveyConfig>& config, std::string_view field) {
  if (structure && structure->fieldStyles) {
    const JSONValue* style = structure->fieldStyles->find(field);
    if (auto text = style ? (*style)["textColor"].stringValue() : std::nullopt) {
      if (auto color = parseColorText(*text)) return color;
    }
  }
  if (config && config->style && config->style->textColor) {
    if (auto color = parseColorText(*config->style->textColor)) return color;
  }
  return std::nullopt;
}

}  // namespace

AnnouncementPresenterView::AnnouncementPresenterView(Survey announcement, AnnouncementPresenterActions actions)
    : announcement_(std::move(announcement)), actions_(std::move(actions)) {
  const std::optional<SurveyStructure> structure = announcement_.structure();
  const std::optional<SurveyConfig> config = announcement_.config();
  templateId_ = lowerTrimmed(announcement_.templateId);

  if (structure && structure->items) {
    slides_.reserve(structure->items->size());
    for (const JSONObject& item : *structure->items) slides_.push_back(slideOf(item));
  }
  layout_ = classify(templateId_, structure, slides_.size());

  std::optional<std::string> structureTitle = structure ? cleaned(structure->title) : std::nullopt;
  title_ = structureTitle ? *structureTitle : cleaned(announcement_.name).value_or("Announcement");
  if (structure) {
    subtitle_ = cleaned(structure->subtitle);
    iconURL_ = cleaned(structure->iconURL);
  }

  std::string primaryDefault = "Continue";
  std::string secondaryDefault = "Dismiss";
  if (layout_ == AnnouncementLayout::feature) {
    primaryDefault = templateId_ == "feature_adoption_prompt" ? "Start Tutorial" : "Try Now";
    secondaryDefault = "Maybe Later";
  } else if (layout_ == AnnouncementLayout::carousel) {
    primaryDefault = "Get Started";
    secondaryDefault = "Skip";
  }
  std::optional<SurveyButtons> buttons = structure ? structure->buttons : std::nullopt;
  std::optional<std::string> primary = buttons && buttons->primary ? cleaned(buttons->primary->text) : std::nullopt;
  std::optional<std::string> secondary =
      buttons && buttons->secondary ? cleaned(buttons->secondary->text) : std::nullopt;
  primaryText_ = primary.value_or(primaryDefault);
  secondaryText_ = secondary.value_or(secondaryDefault);

  descriptionLines_ = descriptionLinesOf(structure ? structure->description : std::nullopt);
  if (structure && structure->bullets) {
    for (const std::string& entry : *structure->bullets) {
      if (auto bullet = bulletText(entry)) bullets_.push_back(std::move(*bullet));
    }
  }
  if (!bullets_.empty()) {
    body_ = joinedLines(descriptionLines_);
  } else {
    // A description written as a dash list is shown as bullets.
    for (const std::string& line : descriptionLines_) {
      if (auto bullet = bulletText(line)) bullets_.push_back(std::move(*bullet));
    }
  }

  titleColor_ = fieldColor(structure, config, "title");
  subtitleColor_ = fieldColor(structure, config, "subtitle");
  descriptionColor_ = fieldColor(structure, config, "description");

  if (structure) {
    showIndicators_ = structure->showIndicators.value_or(true);
    allowSwipe_ = structure->allowSwipe.value_or(true);
    autoAdvance_ = structure->autoAdvance.value_or(false);
    autoAdvanceInterval_ = structure->autoAdvanceInterval;
  }
}

bool AnnouncementPresenterView::selectCarouselPage(int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= slides_.size()) return false;
  selectedCarouselIndex_ = index;
  return true;
}

void AnnouncementPresenterView::pressPrimary() {
  if (submittingPrimary_) return;
  submittingPrimary_ = true;
  JSONObject responses{{"action", "primary"}, {"button_clicked", buttonSlug(primaryText_)}};
  if (layout_ == AnnouncementLayout::carousel && selectedCarouselIndex_ >= 0 &&
      static_cast<std::size_t>(selectedCarouselIndex_) < slides_.size()) {
    const AnnouncementCarouselItem& slide = slides_[static_cast<std::size_t>(selectedCarouselIndex_)];
    responses.set("page_index", selectedCarouselIndex_);
    responses.set("page_title", slide.title);
    if (slide.deepLink && !slide.deepLink->empty()) responses.set("deep_link", *slide.deepLink);
  }
  if (actions_.respond) actions_.respond(announcement_, std::move(responses), true);
  submittingPrimary_ = false;
}

void AnnouncementPresenterView::pressSecondary() {
  if (submittingSecondary_) return;
  submittingSecondary_ = true;
  JSONObject responses{{"action", "secondary"}, {"button_clicked", buttonSlug(secondaryText_)}};
  if (actions_.respond) actions_.respond(announcement_, std::move(responses), false);
  submittingSecondary_ = false;
}

void AnnouncementPresenterView::close() {
  if (actions_.dismiss) actions_.dismiss();
}

ui::Node AnnouncementPresenterView::header() const {
  std::vector<ui::Node> rows;
  if (layout_ == AnnouncementLayout::feature) {
    // A broken icon falls back to the picture symbol; without an icon the card shows sparkles.
    rows.push_back(iconURL_ ? ui::image(*iconURL_, std::string(kImageFallbackSymbol)) : ui::symbol("sparkles"));
  }
  rows.push_back(ui::text(title_, ui::TextRole::title, titleColor_));
  if (subtitle_) rows.push_back(ui::text(*subtitle_, ui::TextRole::subtitle, subtitleColor_));
  return ui::vstack(std::move(rows), 8);
}

ui::Node AnnouncementPresenterView::textBlock() const {
  std::vector<ui::Node> rows;
  if (!body_.empty()) rows.push_back(ui::text(body_, ui::TextRole::body, descriptionColor_));
  for (const std::string& bullet : bullets_) {
    // The mark is drawn by the view, so it is a node of its own beside the words.
    rows.push_back(ui::hstack({ui::text(std::string(kBulletMark), ui::TextRole::body, descriptionColor_),
                               ui::text(bullet, ui::TextRole::body, descriptionColor_)},
                              8));
  }
  return ui::vstack(std::move(rows), 6);
}

ui::Node AnnouncementPresenterView::carousel() {
  const ui::NodeId id("announcement", announcement_.id.value_or(""));
  std::vector<ui::Node> pages;
  pages.reserve(slides_.size());
  for (const AnnouncementCarouselItem& slide : slides_) {
    std::vector<ui::Node> rows;
    if (slide.imageURL) rows.push_back(ui::image(*slide.imageURL, std::string(kImageFallbackSymbol)));
    rows.push_back(ui::text(slide.title, ui::TextRole::title, slide.textColor));
    rows.push_back(ui::text(slide.description, ui::TextRole::body, slide.textColor));
    pages.push_back(ui::vstack(std::move(rows), 8).withBackground(slide.backgroundColor));
  }
  std::vector<ui::Node> rows;
  rows.push_back(
      ui::pager(
          id.part("carousel"), std::move(pages), selectedCarouselIndex_,
          [this](int index) { selectCarouselPage(index); }, showIndicators_)
          .withPaging(allowSwipe_, autoAdvance_ ? std::optional<double>(autoAdvanceSeconds()) : std::nullopt));
  if (!slides_.empty()) {
    rows.push_back(
        ui::text("Item " + std::to_string(selectedCarouselIndex_ + 1) + " of " + std::to_string(slides_.size()),
                 ui::TextRole::caption));
  }
  return ui::vstack(std::move(rows), 8);
}

double AnnouncementPresenterView::autoAdvanceSeconds() const noexcept {
  constexpr double kDefaultSeconds = 5;
  if (!autoAdvanceInterval_ || *autoAdvanceInterval_ <= 0) return kDefaultSeconds;
  const double interval = static_cast<double>(*autoAdvanceInterval_);
  return std::min(interval >= 100 ? interval / 1000 : interval, 3600.0);
}

ui::Node AnnouncementPresenterView::buttons() {
  const ui::NodeId id("announcement", announcement_.id.value_or(""));
  return ui::vstack(
      {ui::button(id.part("primary"), primaryText_, [this] { pressPrimary(); }).withEnabled(!submittingPrimary_),
       ui::button(id.part("secondary"), secondaryText_, [this] { pressSecondary(); })
           .withEnabled(!submittingSecondary_)},
      8);
}

ui::Node AnnouncementPresenterView::tree() {
  const ui::NodeId id("announcement", announcement_.id.value_or(""));
  std::vector<ui::Node> rows;
  rows.push_back(ui::hstack({ui::spacer(), ui::symbolButton(id.part("close"), "xmark", [this] { close(); })}));
  rows.push_back(header());
  if (layout_ == AnnouncementLayout::carousel) {
    rows.push_back(carousel());
  } else {
    rows.push_back(textBlock());
  }
  rows.push_back(buttons());
  return ui::vstack(std::move(rows), 16).withPadding(20);
}

}  // namespace tarnwell
