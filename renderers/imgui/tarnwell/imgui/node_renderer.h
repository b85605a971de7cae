// File: tarnwell/imgui/node_renderer.h
//
// NodeRenderer draws a ui::Node tree with Dear ImGui: the reference renderer a host can copy or
// use as it is. Call draw() once per frame, between ImGui::NewFrame() and ImGui::Render():
//
//   tarnwell::imgui::NodeRenderer renderer;
//   ImGui::NewFrame();
//   renderer.draw(overlay.tree());   // the host's content, then each overlay layer in front
//   ImGui::Render();
//
// A zstack at the root is drawn as layers: its first child fills the screen as the host's
// content, every later child sits in a centred window in front. The press, keystroke or page turn
// of a frame runs once the whole tree is submitted, at the end of draw(), because it may rebuild
// the tree that was being drawn. Symbols are drawn as shapes or from the icon font
// (symbol_font.h); emoji, which Debian's 16-bit ImGui cannot draw, as ASCII faces.
//
// A layer with a keyed transition (the overlay's survey and announcement cards) comes in on its
// spring when its key first appears and goes out on it when the key leaves the tree: the renderer
// keeps a copy, stripped of its actions, to draw while it fades. Time is ImGui's (io.DeltaTime),
// so a host or a test that sets the frame time drives the animation.
#pragma once

#include <imgui.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <tarnwell/ui/node.h>

namespace tarnwell::imgui {

// Screen rectangle of a drawn item, in pixels.
struct ItemRect {
  ImVec2 min;
  ImVec2 max;

  ImVec2 center() const { return ImVec2((min.x + max.x) / 2, (min.y + max.y) / 2); }
};

// A text, button label or choice label as drawn, and where.
struct DrawnText {
  std::string text;
  ItemRect rect;
};

class NodeRenderer {
 public:
  // Draws the tree into the current ImGui frame, then runs the action the user took, if any.
  void draw(const ui::Node& root);

  // Where each node with an id was drawn in the last draw(): for tests and hosts that point at it.
  // A pager's arrows are under its id followed by "/previous" and "/next".
  const std::map<std::string, ItemRect>& itemRects() const noexcept { return rects_; }
  std::optional<ItemRect> itemRect(std::string_view id) const;
  // The texts of the last draw() in drawing order, back to front; leaving layers are not listed.
  const std::vector<DrawnText>& drawnTexts() const noexcept { return texts_; }

  // Whether a layer is still coming in or going out: a host that redraws only on change keeps
  // drawing while this holds.
  bool animating() const noexcept;
  // How far the layer keyed `key` has come in: 0 when it appeared, 1 in place (a spring may pass
  // 1 briefly). Absent when no layer on screen has that key.
  std::optional<float> transitionProgress(std::string_view key) const;

 private:
  // How a layer is drawn at a moment of its transition.
  struct Appearance {
    float alpha = 1;
    float scale = 1;
    float offsetY = 0;
    bool front = true;  // takes focus and records where its items went
  };
  // A keyed layer on screen, or leaving it.
  struct Motion {
    ui::Transition transition;
    double since = 0;
    ui::Node last;
  };

  void drawLayer(const ui::Node& layer, const std::string& name, int index, const Appearance& appearance);
  Appearance appearanceOf(const Motion& motion, bool entering) const;
  void drawNode(const ui::Node& node, int depth);
  void drawChildren(const ui::Node& node, int depth);
  void drawTrailing(const ui::Node& node, std::size_t from, int depth);
  void drawText(const ui::Node& node);
  void drawSymbolButton(const ui::Node& node);
  void drawButton(const ui::Node& node);
  void drawField(const ui::Node& node);
  void drawChoice(const ui::Node& node);
  void drawPager(const ui::Node& node, int depth);
  void advancePager(const ui::Node& node, int selected, int count);
  void record(const ui::Node& node);
  void recordText(const std::string& text);
  void act(std::function<void()> action);

  std::map<std::string, ItemRect> rects_;
  std::vector<DrawnText> texts_;
  std::function<void()> pending_;
  std::map<std::string, Motion, std::less<>> shown_;
  std::vector<std::pair<std::string, Motion>> leaving_;
  double now_ = 0;
  float layerScale_ = 1;
  bool recording_ = true;
  bool wrapText_ = true;
  // The width of what follows a spacer in an hstack, by ImGui id: measured in one frame, used to
  // push those items to the right edge in the next.
  std::unordered_map<unsigned int, float> trailing_;
  std::unordered_map<unsigned int, float> trailingNext_;
  // When each pager that turns by itself last showed a new page, by node id.
  struct PagerClock {
    int page = 0;
    double since = 0;
  };
  std::unordered_map<std::string, PagerClock> pagers_;
  std::unordered_map<std::string, PagerClock> pagersNext_;
};

}  // namespace tarnwell::imgui
