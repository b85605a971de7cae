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
// the tree that was being drawn. Symbols are drawn as shapes or ASCII, since the default font
// holds Latin glyphs only.
#pragma once

#include <imgui.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/ui/node.h>

namespace tarnwell::imgui {

// Screen rectangle of a drawn item, in pixels.
struct ItemRect {
  ImVec2 min;
  ImVec2 max;

  ImVec2 center() const { return ImVec2((min.x + max.x) / 2, (min.y + max.y) / 2); }
};

class NodeRenderer {
 public:
  // Draws the tree into the current ImGui frame, then runs the action the user took, if any.
  void draw(const ui::Node& root);

  // Where each node with an id was drawn in the last draw(): for tests and hosts that point at it.
  // A pager's arrows are under its id followed by "/previous" and "/next".
  const std::map<std::string, ItemRect>& itemRects() const noexcept { return rects_; }
  std::optional<ItemRect> itemRect(std::string_view id) const;

 private:
  void drawLayer(const ui::Node& layer, int index);
  void drawNode(const ui::Node& node, int depth);
  void drawChildren(const ui::Node& node, int depth);
  void drawText(const ui::Node& node);
  void drawSymbolButton(const ui::Node& node);
  void drawButton(const ui::Node& node);
  void drawField(const ui::Node& node);
  void drawChoice(const ui::Node& node);
  void drawPager(const ui::Node& node, int depth);
  void record(const ui::Node& node);
  void act(std::function<void()> action);

  std::map<std::string, ItemRect> rects_;
  std::function<void()> pending_;
};

}  // namespace tarnwell::imgui
