#include <tarnwell/imgui/node_renderer.h>

#include <imgui.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include <tarnwell/imgui/detail/drawable_text.h>
#include <tarnwell/imgui/detail/symbols.h>
#include <tarnwell/ui/node_query.h>

namespace tarnwell::imgui {
namespace {

// Deeper trees are not drawn beyond this, so a runaway tree cannot exhaust the stack.
constexpr int kMaxDepth = 64;

ImVec4 toImColor(const Color& color) {
  return ImVec4(static_cast<float>(color.red), static_cast<float>(color.green), static_cast<float>(color.blue),
                static_cast<float>(color.alpha));
}

float textScale(ui::TextRole role) {
  switch (role) {
    case ui::TextRole::title: return 1.5f;
    case ui::TextRole::subtitle: return 1.15f;
    case ui::TextRole::caption:
    case ui::TextRole::eyebrow: return 0.9f;
    case ui::TextRole::body: break;
  }
  return 1.0f;
}

ImU32 textColor() { return ImGui::GetColorU32(ImGuiCol_Text); }

// A layer on a light card takes ImGui's light palette, so default texts, buttons and fields stay
// readable on it; a dark card keeps the dark one.
int pushPaletteFor(const Color& background) {
  const double luminance = 0.2126 * background.red + 0.7152 * background.green + 0.0722 * background.blue;
  ImGuiStyle palette;
  if (luminance > 0.5) {
    ImGui::StyleColorsLight(&palette);
  } else {
    ImGui::StyleColorsDark(&palette);
  }
  for (int k = 0; k < ImGuiCol_COUNT; ++k) ImGui::PushStyleColor(k, palette.Colors[k]);
  return ImGuiCol_COUNT;
}

// Where a transition stands `elapsed` seconds after it began: 0 to 1, passing 1 briefly on an
// underdamped spring. Without a spring, an ease-out of a quarter second.
struct SpringState {
  float progress = 1;
  bool settled = true;
};

SpringState springAt(const std::optional<ui::Spring>& spring, double elapsed) {
  if (elapsed <= 0) return {0, false};
  if (!spring || !(spring->response > 0)) {
    const double x = std::min(elapsed / 0.25, 1.0);
    return {static_cast<float>(1 - (1 - x) * (1 - x)), x >= 1};
  }
  // Damping is bounded below so that a spring from a host's tree always comes to rest.
  const double damping = std::clamp(spring->dampingFraction, 0.05, 1.0);
  const double omega = 2 * 3.14159265358979 / std::min(spring->response, 10.0);
  const double decay = std::exp(-damping * omega * elapsed);
  double offset = 0;
  if (damping >= 1) {
    offset = decay * (1 + omega * elapsed);
  } else {
    const double damped = omega * std::sqrt(1 - damping * damping);
    offset = decay * (std::cos(damped * elapsed) + damping * omega / damped * std::sin(damped * elapsed));
  }
  const bool settled = decay < 1e-3;
  return {settled ? 1.0f : static_cast<float>(1 - offset), settled};
}

// A leaving layer is only drawn: its actions belong to a view that may be gone.
void stripActions(ui::Node& node) {
  node.onTap = nullptr;
  node.onText = nullptr;
  node.onPage = nullptr;
  for (ui::Node& child : node.children) stripActions(child);
}

}  // namespace

std::optional<ItemRect> NodeRenderer::itemRect(std::string_view id) const {
  const auto found = rects_.find(std::string(id));
  if (found == rects_.end()) return std::nullopt;
  return found->second;
}

bool NodeRenderer::animating() const noexcept {
  if (!leaving_.empty()) return true;
  return std::any_of(shown_.begin(), shown_.end(), [this](const auto& entry) {
    return !springAt(entry.second.transition.spring, now_ - entry.second.since).settled;
  });
}

std::optional<float> NodeRenderer::transitionProgress(std::string_view key) const {
  const auto found = shown_.find(key);
  if (found == shown_.end()) return std::nullopt;
  return springAt(found->second.transition.spring, now_ - found->second.since).progress;
}

NodeRenderer::Appearance NodeRenderer::appearanceOf(const Motion& motion, bool entering) const {
  const float progress = springAt(motion.transition.spring, now_ - motion.since).progress;
  // Coming in runs from 0 to 1; going out runs the same way back.
  const float at = entering ? progress : 1 - progress;
  Appearance appearance;
  appearance.front = entering;
  const float height = ImGui::GetMainViewport()->WorkSize.y;
  switch (motion.transition.effect) {
    case ui::TransitionEffect::opacity: appearance.alpha = at; break;
    case ui::TransitionEffect::scaleWithOpacity: appearance.alpha = at; [[fallthrough]];
    case ui::TransitionEffect::scale: appearance.scale = 0.85f + 0.15f * at; break;
    case ui::TransitionEffect::moveFromBottom: appearance.offsetY = (1 - at) * height; break;
    case ui::TransitionEffect::moveFromTop: appearance.offsetY = -(1 - at) * height; break;
  }
  appearance.alpha = std::clamp(appearance.alpha, 0.0f, 1.0f);
  appearance.scale = std::clamp(appearance.scale, 0.5f, 1.2f);
  return appearance;
}

void NodeRenderer::draw(const ui::Node& root) {
  rects_.clear();
  texts_.clear();
  pending_ = nullptr;
  now_ = ImGui::GetTime();
  if (root.kind != ui::Kind::zstack) {
    drawLayer(root, "##tarnwell.content", 0, {});
  } else {
    drawLayer(root.children.empty() ? ui::vstack({}) : root.children.front(), "##tarnwell.content", 0, {});
    // Layers that left the tree go out behind the ones still in it.
    std::erase_if(leaving_, [this](const auto& entry) {
      return springAt(entry.second.transition.spring, now_ - entry.second.since).settled;
    });
    for (const auto& [key, motion] : leaving_) {
      drawLayer(motion.last, "##tarnwell.leaving." + key, 1, appearanceOf(motion, false));
    }
    std::vector<std::string_view> present;
    for (std::size_t i = 1; i < root.children.size(); ++i) {
      const ui::Node& layer = root.children[i];
      const int index = static_cast<int>(i);
      if (!layer.transition || !layer.transition->key) {
        drawLayer(layer, "##tarnwell.layer." + std::to_string(index), index, {});
        continue;
      }
      const std::string& key = *layer.transition->key;
      auto [entry, fresh] = shown_.try_emplace(key);
      if (fresh) {
        entry->second.since = now_;
        // A key that comes back while going out comes in afresh.
        std::erase_if(leaving_, [&key](const auto& gone) { return gone.first == key; });
      }
      entry->second.transition = *layer.transition;
      entry->second.last = layer;
      present.push_back(key);
      drawLayer(layer, "##tarnwell.layer." + key, index, appearanceOf(entry->second, true));
    }
    for (auto entry = shown_.begin(); entry != shown_.end();) {
      if (std::find(present.begin(), present.end(), entry->first) != present.end()) {
        ++entry;
        continue;
      }
      Motion motion = std::move(entry->second);
      motion.since = now_;
      stripActions(motion.last);
      leaving_.emplace_back(entry->first, std::move(motion));
      entry = shown_.erase(entry);
    }
  }
  trailing_.swap(trailingNext_);
  trailingNext_.clear();
  pagers_.swap(pagersNext_);
  pagersNext_.clear();
  // The action may rebuild the tree just drawn, so it runs on its own copy, after the frame.
  if (std::function<void()> action = std::exchange(pending_, nullptr)) action();
}

void NodeRenderer::drawLayer(const ui::Node& layer, const std::string& name, int index, const Appearance& appearance) {
  const ImGuiViewport* viewport = ImGui::GetMainViewport();
  ImGui::PushID(name.c_str());
  int styleColors = 0;
  int styleVars = 0;
  if (layer.background) {
    styleColors += pushPaletteFor(*layer.background);
    ImGui::PushStyleColor(ImGuiCol_WindowBg, toImColor(*layer.background));
    ++styleColors;
  }
  if (appearance.alpha < 1) {
    ImGui::PushStyleVar(ImGuiStyleVar_Alpha, appearance.alpha);
    ++styleVars;
  }
  recording_ = appearance.front;
  layerScale_ = appearance.scale;
  if (index == 0) {
    ImGui::SetNextWindowPos(viewport->WorkPos);
    ImGui::SetNextWindowSize(viewport->WorkSize);
    ImGui::Begin(name.c_str(), nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoMove |
                     ImGuiWindowFlags_NoBringToFrontOnFocus);
  } else {
    // Each later layer is a card in front of the content, centred, as wide as fits.
    const float width = std::min(460.0f, viewport->WorkSize.x * 0.9f) * appearance.scale;
    ImGui::SetNextWindowPos(ImVec2(viewport->WorkPos.x + viewport->WorkSize.x / 2,
                                   viewport->WorkPos.y + viewport->WorkSize.y / 2 + appearance.offsetY),
                            ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSizeConstraints(ImVec2(width, 0), ImVec2(width, viewport->WorkSize.y * 0.95f));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowRounding, static_cast<float>(std::clamp(layer.cornerRadius, 0.0, 24.0)));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(18, 18));
    // Outlined, roomier controls: on a light card a field's frame would vanish otherwise.
    ImGui::PushStyleVar(ImGuiStyleVar_FrameBorderSize, 1.0f);
    ImGui::PushStyleVar(ImGuiStyleVar_FramePadding, ImVec2(8, 5));
    ImGui::PushStyleVar(ImGuiStyleVar_FrameRounding, 4.0f);
    styleVars += 5;
    ImGui::SetNextWindowFocus();
    ImGui::Begin(name.c_str(), nullptr,
                 // A card taller than the screen shows a scroll bar, so its buttons stay in reach.
                 ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse |
                     ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_AlwaysAutoResize);
  }
  ImGui::SetWindowFontScale(layerScale_);
  ImGui::PushTextWrapPos(0.0f);
  if (layer.kind == ui::Kind::zstack || layer.background) {
    // The window already paints the layer's background; its children are drawn in it.
    ui::Node inner = layer;
    inner.background.reset();
    drawNode(inner, 0);
  } else {
    drawNode(layer, 0);
  }
  ImGui::PopTextWrapPos();
  ImGui::End();
  ImGui::PopStyleVar(styleVars);
  ImGui::PopStyleColor(styleColors);
  ImGui::PopID();
  recording_ = true;
  layerScale_ = 1;
}

void NodeRenderer::record(const ui::Node& node) {
  if (node.id && recording_) rects_[*node.id] = ItemRect{ImGui::GetItemRectMin(), ImGui::GetItemRectMax()};
}

void NodeRenderer::recordText(const std::string& text) {
  if (recording_ && !text.empty()) texts_.push_back({text, ItemRect{ImGui::GetItemRectMin(), ImGui::GetItemRectMax()}});
}

void NodeRenderer::act(std::function<void()> action) {
  // One action per frame: the first the user took.
  if (!pending_) pending_ = std::move(action);
}

void NodeRenderer::drawNode(const ui::Node& node, int depth) {
  if (depth > kMaxDepth) return;
  if (node.id) {
    ImGui::PushID(node.id->c_str());
  } else {
    ImGui::PushID(depth);
  }
  int styleVars = 0;
  if (node.opacity < 1) {
    ImGui::PushStyleVar(ImGuiStyleVar_Alpha, ImGui::GetStyle().Alpha * static_cast<float>(std::max(0.0, node.opacity)));
    ++styleVars;
  }
  ImGui::BeginDisabled(!node.enabled);
  const float padding = static_cast<float>(std::clamp(node.padding, 0.0, 64.0));
  ImDrawList* list = ImGui::GetWindowDrawList();
  ImDrawListSplitter splitter;
  if (node.background) {
    // The background goes under the node's content, once the content's size is known.
    splitter.Split(list, 2);
    splitter.SetCurrentChannel(list, 1);
  }
  ImGui::BeginGroup();
  if (padding > 0) {
    ImGui::Dummy(ImVec2(0, padding));
    ImGui::Indent(padding);
  }
  switch (node.kind) {
    case ui::Kind::vstack:
    case ui::Kind::hstack:
    case ui::Kind::zstack: drawChildren(node, depth); break;
    case ui::Kind::text: drawText(node); break;
    case ui::Kind::symbol:
    case ui::Kind::image: {
      // A symbol standing alone (a card's icon) is drawn larger than one inside a row of text.
      const float size = ImGui::GetFrameHeight() * (node.kind == ui::Kind::image ? 2.0f : 1.2f);
      const ImVec2 at = ImGui::GetCursorScreenPos();
      const ImU32 color = node.color ? ImGui::GetColorU32(toImColor(*node.color)) : textColor();
      detail::drawSymbol(list, node.symbol, at, size, color);
      ImGui::Dummy(ImVec2(size, size));
      break;
    }
    case ui::Kind::button:
      if (node.text.empty() && !node.symbol.empty()) {
        drawSymbolButton(node);
      } else {
        drawButton(node);
      }
      break;
    case ui::Kind::textField:
    case ui::Kind::textEditor: drawField(node); break;
    case ui::Kind::choiceRow: drawChoice(node); break;
    case ui::Kind::pager: drawPager(node, depth); break;
    case ui::Kind::progress: {
      int colors = 0;
      if (node.color) {
        ImGui::PushStyleColor(ImGuiCol_PlotHistogram, toImColor(*node.color));
        ++colors;
      }
      ImGui::ProgressBar(static_cast<float>(std::clamp(node.progress, 0.0, 1.0)), ImVec2(-FLT_MIN, 6), "");
      ImGui::PopStyleColor(colors);
      break;
    }
    case ui::Kind::spacer: ImGui::Dummy(ImVec2(1, 8)); break;  // in an hstack it is the gap instead
  }
  if (padding > 0) {
    ImGui::Unindent(padding);
    ImGui::Dummy(ImVec2(0, padding));
  }
  ImGui::EndGroup();
  if (node.background) {
    splitter.SetCurrentChannel(list, 0);
    list->AddRectFilled(ImGui::GetItemRectMin(), ImVec2(ImGui::GetItemRectMax().x + padding, ImGui::GetItemRectMax().y),
                        ImGui::GetColorU32(toImColor(*node.background)), static_cast<float>(node.cornerRadius));
    splitter.Merge(list);
  }
  if (node.kind != ui::Kind::button && node.kind != ui::Kind::choiceRow && node.kind != ui::Kind::textField &&
      node.kind != ui::Kind::textEditor) {
    record(node);
  }
  ImGui::EndDisabled();
  ImGui::PopStyleVar(styleVars);
  ImGui::PopID();
}

void NodeRenderer::drawChildren(const ui::Node& node, int depth) {
  const float spacing = static_cast<float>(std::clamp(node.spacing, 0.0, 64.0));
  const ImVec2 start = ImGui::GetCursorPos();
  float bottom = start.y;
  for (std::size_t i = 0; i < node.children.size(); ++i) {
    if (node.kind == ui::Kind::hstack && node.children[i].kind == ui::Kind::spacer) {
      drawTrailing(node, i + 1, depth);
      break;
    }
    ImGui::PushID(static_cast<int>(i));
    if (node.kind == ui::Kind::hstack && i > 0) ImGui::SameLine(0, std::max(spacing, 6.0f));
    if (node.kind == ui::Kind::vstack && i > 0 && spacing > 0) ImGui::Dummy(ImVec2(0, spacing));
    if (node.kind == ui::Kind::zstack) ImGui::SetCursorPos(start);
    drawNode(node.children[i], depth + 1);
    bottom = std::max(bottom, ImGui::GetCursorPos().y);
    ImGui::PopID();
  }
  if (node.kind == ui::Kind::zstack && !node.children.empty()) ImGui::SetCursorPos(ImVec2(start.x, bottom));
  if (node.children.empty()) ImGui::Dummy(ImVec2(0, 0));
}

void NodeRenderer::drawTrailing(const ui::Node& node, std::size_t from, int depth) {
  // What follows a spacer sits at the right edge: last frame's width of it says where that starts.
  const ImGuiID key = ImGui::GetID("##trailing");
  if (from > 1) ImGui::SameLine();
  if (const auto measured = trailing_.find(key); measured != trailing_.end()) {
    const float right = ImGui::GetWindowContentRegionMax().x;
    ImGui::SetCursorPosX(std::max(ImGui::GetCursorPosX(), right - measured->second));
  }
  // Not wrapped: wrapping at the edge it is pushed to would make it as narrow as its widest word.
  const bool wrapping = std::exchange(wrapText_, false);
  ImGui::PushTextWrapPos(-1.0f);
  ImGui::BeginGroup();
  const float spacing = static_cast<float>(std::clamp(node.spacing, 0.0, 64.0));
  for (std::size_t i = from; i < node.children.size(); ++i) {
    ImGui::PushID(static_cast<int>(i));
    if (i > from) ImGui::SameLine(0, std::max(spacing, 6.0f));
    drawNode(node.children[i], depth + 1);
    ImGui::PopID();
  }
  if (from == node.children.size()) ImGui::Dummy(ImVec2(0, 0));
  ImGui::EndGroup();
  ImGui::PopTextWrapPos();
  wrapText_ = wrapping;
  trailingNext_[key] = ImGui::GetItemRectSize().x;
}

void NodeRenderer::drawText(const ui::Node& node) {
  const std::string words = detail::drawable(node.text);
  ImGui::SetWindowFontScale(textScale(node.role) * layerScale_);
  int colors = 0;
  if (node.color) {
    ImGui::PushStyleColor(ImGuiCol_Text, toImColor(*node.color));
    ++colors;
  }
  if (wrapText_) {
    ImGui::TextWrapped("%s", words.c_str());
  } else {
    ImGui::TextUnformatted(words.c_str());
  }
  recordText(node.text);
  ImGui::PopStyleColor(colors);
  ImGui::SetWindowFontScale(layerScale_);
}

void NodeRenderer::drawSymbolButton(const ui::Node& node) {
  const float size = ImGui::GetFrameHeight() * 1.4f;
  const ImVec2 at = ImGui::GetCursorScreenPos();
  if (ImGui::InvisibleButton("##symbol", ImVec2(size, size)) && node.onTap) act(node.onTap);
  record(node);
  ImDrawList* list = ImGui::GetWindowDrawList();
  if (ImGui::IsItemHovered()) {
    list->AddRectFilled(at, ImVec2(at.x + size, at.y + size), ImGui::GetColorU32(ImGuiCol_ButtonHovered), 4);
  }
  const ImU32 color = node.color ? ImGui::GetColorU32(toImColor(*node.color)) : textColor();
  detail::drawSymbol(list, node.symbol, at, size, color);
}

void NodeRenderer::drawButton(const ui::Node& node) {
  std::string label = detail::drawable(node.text);
  if (label.empty()) label = detail::symbolLabel(node.symbol);
  int colors = 0;
  if (node.color) {
    ImGui::PushStyleColor(ImGuiCol_Button, toImColor(*node.color));
    ++colors;
  }
  if (ImGui::Button((label + "##button").c_str()) && node.onTap) act(node.onTap);
  record(node);
  recordText(node.text);
  ImGui::PopStyleColor(colors);
}

void NodeRenderer::drawField(const ui::Node& node) {
  // The node's text is the model's; ImGui edits a copy and the change goes back through onText.
  const std::size_t capacity =
      node.maxLength ? static_cast<std::size_t>(std::clamp(*node.maxLength, 0, 1 << 16)) * 4 + 1 : 4096;
  std::vector<char> buffer(std::max(capacity, node.text.size() + 1), '\0');
  std::copy(node.text.begin(), node.text.end(), buffer.begin());
  const std::string hint = detail::drawable(node.placeholder);
  bool changed = false;
  if (node.kind == ui::Kind::textField) {
    ImGui::SetNextItemWidth(-FLT_MIN);
    changed = ImGui::InputTextWithHint("##field", hint.c_str(), buffer.data(), buffer.size());
  } else {
    if (node.text.empty() && !hint.empty()) {
      ImGui::TextDisabled("%s", hint.c_str());
    }
    changed = ImGui::InputTextMultiline("##editor", buffer.data(), buffer.size(),
                                        ImVec2(-FLT_MIN, ImGui::GetTextLineHeight() * 4));
  }
  record(node);
  if (changed && node.onText) {
    std::string text = ui::limitToCodePoints(std::string_view(buffer.data()), node.maxLength);
    act([onText = node.onText, text = std::move(text)] { onText(text); });
  }
}

void NodeRenderer::drawChoice(const ui::Node& node) {
  std::string mark;
  switch (node.choiceStyle) {
    case ui::ChoiceStyle::single: mark = node.selected ? "(o) " : "( ) "; break;
    case ui::ChoiceStyle::multiple: mark = node.selected ? "[x] " : "[ ] "; break;
    case ui::ChoiceStyle::emoji: break;
  }
  std::string label = mark + detail::drawable(node.text);
  if (label.empty()) label = "( )";
  const float width = node.choiceStyle == ui::ChoiceStyle::emoji ? ImGui::CalcTextSize(label.c_str()).x + 12 : 0;
  if (ImGui::Selectable((label + "##choice").c_str(), node.selected, ImGuiSelectableFlags_None, ImVec2(width, 0)) &&
      node.onTap) {
    act(node.onTap);
  }
  record(node);
  recordText(node.text);
}

void NodeRenderer::advancePager(const ui::Node& node, int selected, int count) {
  if (!node.autoAdvanceSeconds || !node.onPage || !node.id || count < 2 || !recording_) return;
  PagerClock clock{selected, now_};
  // A page turned by hand or by the model starts the wait again.
  if (const auto known = pagers_.find(*node.id); known != pagers_.end() && known->second.page == selected) {
    clock = known->second;
  }
  if (now_ - clock.since >= std::max(*node.autoAdvanceSeconds, 0.1)) {
    act([onPage = node.onPage, next = (selected + 1) % count] { onPage(next); });
    clock.since = now_;
  }
  pagersNext_[*node.id] = clock;
}

void NodeRenderer::drawPager(const ui::Node& node, int depth) {
  const int count = static_cast<int>(node.children.size());
  if (count == 0) {
    ImGui::Dummy(ImVec2(0, 0));
    return;
  }
  const int selected = std::clamp(node.selectedIndex, 0, count - 1);
  ImGui::PushID(selected);
  drawNode(node.children[static_cast<std::size_t>(selected)], depth + 1);
  ImGui::PopID();
  advancePager(node, selected, count);
  if (!node.showsIndicators || count < 2) return;
  // Without swiping the arrows stay disabled; the dots still tell where the pager stands.
  ImGui::BeginDisabled(selected == 0 || !node.allowsSwipe);
  if (ImGui::ArrowButton("##previous", ImGuiDir_Left) && node.onPage) {
    act([onPage = node.onPage, selected] { onPage(selected - 1); });
  }
  if (node.id) rects_[*node.id + "/previous"] = ItemRect{ImGui::GetItemRectMin(), ImGui::GetItemRectMax()};
  ImGui::EndDisabled();
  // Dots, one a page, the current one filled; a long pager shows its position as "n / count".
  ImGui::SameLine();
  if (count <= 20) {
    const float radius = 4;
    const ImVec2 at = ImGui::GetCursorScreenPos();
    const float middle = at.y + ImGui::GetFrameHeight() / 2;
    for (int k = 0; k < count; ++k) {
      const ImVec2 c(at.x + radius + static_cast<float>(k) * radius * 3, middle);
      if (k == selected) {
        ImGui::GetWindowDrawList()->AddCircleFilled(c, radius, textColor());
      } else {
        ImGui::GetWindowDrawList()->AddCircle(c, radius, textColor());
      }
    }
    ImGui::Dummy(ImVec2(static_cast<float>(count) * radius * 3, ImGui::GetFrameHeight()));
  } else {
    ImGui::Text("%d / %d", selected + 1, count);
  }
  ImGui::SameLine();
  ImGui::BeginDisabled(selected == count - 1 || !node.allowsSwipe);
  if (ImGui::ArrowButton("##next", ImGuiDir_Right) && node.onPage) {
    act([onPage = node.onPage, selected] { onPage(selected + 1); });
  }
  if (node.id) rects_[*node.id + "/next"] = ItemRect{ImGui::GetItemRectMin(), ImGui::GetItemRectMax()};
  ImGui::EndDisabled();
}

}  // namespace tarnwell::imgui
