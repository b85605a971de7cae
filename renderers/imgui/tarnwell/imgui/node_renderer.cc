#include <tarnwell/imgui/node_renderer.h>

#include <imgui.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include <tarnwell/ui/node_query.h>

namespace tarnwell::imgui {
namespace {

// Deeper trees are not drawn beyond this, so a runaway tree cannot exhaust the stack.
constexpr int kMaxDepth = 64;
// Longer texts are cut for drawing; the model keeps them whole.
constexpr std::size_t kMaxDrawnBytes = 8000;

ImVec4 toImColor(const Color& color) {
  return ImVec4(static_cast<float>(color.red), static_cast<float>(color.green), static_cast<float>(color.blue),
                static_cast<float>(color.alpha));
}

// The default font holds ASCII and Latin-1 only: anything else would draw as "?", so common
// faces and marks get ASCII stand-ins and the rest is dropped.
std::string drawable(std::string_view text) {
  std::string out;
  const std::size_t size = std::min(text.size(), kMaxDrawnBytes);
  for (std::size_t i = 0; i < size;) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      out += static_cast<char>(byte);
      ++i;
      continue;
    }
    int length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    unsigned int cp = byte & (length == 4 ? 0x07 : length == 3 ? 0x0F : 0x1F);
    for (int k = 1; k < length && i + k < size; ++k) cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    i += length;
    if (cp >= 0xA0 && cp <= 0xFF) {
      out.append(text.substr(i - length, length));
    } else if (cp == 0x2018 || cp == 0x2019) {
      out += '\'';
    } else if (cp == 0x201C || cp == 0x201D) {
      out += '"';
    } else if (cp == 0x2026) {
      out += "...";
    } else if (cp == 0x2013 || cp == 0x2014) {
      out += '-';
    } else if (cp == 0x1F621 || cp == 0x1F620 || cp == 0x1F61E || cp == 0x1F629) {
      out += ">:(";
    } else if (cp == 0x1F641 || cp == 0x1F615 || cp == 0x1F61F || cp == 0x2639) {
      out += ":(";
    } else if (cp == 0x1F610 || cp == 0x1F611) {
      out += ":|";
    } else if (cp == 0x1F642 || cp == 0x1F60A || cp == 0x263A) {
      out += ":)";
    } else if (cp == 0x1F600 || cp == 0x1F603 || cp == 0x1F604 || cp == 0x1F601 || cp == 0x1F60D || cp == 0x1F929) {
      out += ":D";
    }
    // Variation selectors, joiners and other pictographs are left out.
  }
  return out;
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

// Draws a named symbol into a square box; answers false when the name has no drawn shape.
bool drawSymbolShape(ImDrawList* list, std::string_view name, ImVec2 min, float size, ImU32 color) {
  const ImVec2 c(min.x + size / 2, min.y + size / 2);
  if (name == "star" || name == "star.fill") {
    ImVec2 points[10];
    for (int k = 0; k < 10; ++k) {
      const float radius = (k % 2 == 0 ? 0.48f : 0.2f) * size;
      const float angle = -1.5707963f + static_cast<float>(k) * 3.14159265f / 5;
      points[k] = ImVec2(c.x + radius * std::cos(angle), c.y + radius * std::sin(angle));
    }
    if (name == "star.fill") {
      // The star is concave: fill it as triangles from the centre.
      for (int k = 0; k < 10; ++k) list->AddTriangleFilled(c, points[k], points[(k + 1) % 10], color);
    } else {
      list->AddPolyline(points, 10, color, ImDrawFlags_Closed, 1.5f);
    }
    return true;
  }
  if (name == "xmark") {
    const float r = size * 0.3f;
    list->AddLine(ImVec2(c.x - r, c.y - r), ImVec2(c.x + r, c.y + r), color, 2);
    list->AddLine(ImVec2(c.x - r, c.y + r), ImVec2(c.x + r, c.y - r), color, 2);
    return true;
  }
  return false;
}

// Symbols without a drawn shape read as ASCII.
std::string symbolText(std::string_view name) {
  if (name.starts_with("hand.thumbsup")) return "(+)";
  if (name.starts_with("hand.thumbsdown")) return "(-)";
  if (name.starts_with("checkmark")) return "(v)";
  if (name.starts_with("chevron.left")) return "<";
  if (name.starts_with("chevron.right")) return ">";
  return "*";
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

}  // namespace

std::optional<ItemRect> NodeRenderer::itemRect(std::string_view id) const {
  const auto found = rects_.find(std::string(id));
  if (found == rects_.end()) return std::nullopt;
  return found->second;
}

void NodeRenderer::draw(const ui::Node& root) {
  rects_.clear();
  pending_ = nullptr;
  if (root.kind == ui::Kind::zstack) {
    for (std::size_t i = 0; i < root.children.size(); ++i) drawLayer(root.children[i], static_cast<int>(i));
    if (root.children.empty()) drawLayer(ui::vstack({}), 0);
  } else {
    drawLayer(root, 0);
  }
  // The action may rebuild the tree just drawn, so it runs on its own copy, after the frame.
  if (std::function<void()> action = std::exchange(pending_, nullptr)) action();
}

void NodeRenderer::drawLayer(const ui::Node& layer, int index) {
  const ImGuiViewport* viewport = ImGui::GetMainViewport();
  ImGui::PushID(index);
  int styleColors = 0;
  int styleVars = 0;
  if (layer.background) {
    styleColors += pushPaletteFor(*layer.background);
    ImGui::PushStyleColor(ImGuiCol_WindowBg, toImColor(*layer.background));
    ++styleColors;
  }
  if (index == 0) {
    ImGui::SetNextWindowPos(viewport->WorkPos);
    ImGui::SetNextWindowSize(viewport->WorkSize);
    ImGui::Begin("##tarnwell.content", nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoMove |
                     ImGuiWindowFlags_NoBringToFrontOnFocus);
  } else {
    // Each later layer is a card in front of the content, centred, as wide as fits.
    const float width = std::min(460.0f, viewport->WorkSize.x * 0.9f);
    ImGui::SetNextWindowPos(
        ImVec2(viewport->WorkPos.x + viewport->WorkSize.x / 2, viewport->WorkPos.y + viewport->WorkSize.y / 2),
        ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSizeConstraints(ImVec2(width, 0), ImVec2(width, viewport->WorkSize.y * 0.95f));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowRounding, static_cast<float>(std::clamp(layer.cornerRadius, 0.0, 24.0)));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(18, 18));
    // Outlined, roomier controls: on a light card a field's frame would vanish otherwise.
    ImGui::PushStyleVar(ImGuiStyleVar_FrameBorderSize, 1.0f);
    ImGui::PushStyleVar(ImGuiStyleVar_FramePadding, ImVec2(8, 5));
    ImGui::PushStyleVar(ImGuiStyleVar_FrameRounding, 4.0f);
    styleVars += 5;
    const std::string name = "##tarnwell.layer." + std::to_string(index);
    ImGui::SetNextWindowFocus();
    ImGui::Begin(name.c_str(), nullptr,
                 ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoMove |
                     ImGuiWindowFlags_AlwaysAutoResize);
  }
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
}

void NodeRenderer::record(const ui::Node& node) {
  if (node.id) rects_[*node.id] = ItemRect{ImGui::GetItemRectMin(), ImGui::GetItemRectMax()};
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
      const float size = ImGui::GetFrameHeight();
      const ImVec2 at = ImGui::GetCursorScreenPos();
      const ImU32 color = node.color ? ImGui::GetColorU32(toImColor(*node.color)) : textColor();
      if (drawSymbolShape(list, node.symbol, at, size, color)) {
        ImGui::Dummy(ImVec2(size, size));
      } else {
        ImGui::TextUnformatted(symbolText(node.symbol).c_str());
      }
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
    case ui::Kind::spacer: ImGui::Dummy(ImVec2(1, 8)); break;
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

void NodeRenderer::drawText(const ui::Node& node) {
  const std::string words = drawable(node.text);
  ImGui::SetWindowFontScale(textScale(node.role));
  int colors = 0;
  if (node.color) {
    ImGui::PushStyleColor(ImGuiCol_Text, toImColor(*node.color));
    ++colors;
  }
  ImGui::TextWrapped("%s", words.c_str());
  ImGui::PopStyleColor(colors);
  ImGui::SetWindowFontScale(1.0f);
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
  if (!drawSymbolShape(list, node.symbol, at, size, color)) {
    const std::string text = symbolText(node.symbol);
    const ImVec2 extent = ImGui::CalcTextSize(text.c_str());
    list->AddText(ImVec2(at.x + (size - extent.x) / 2, at.y + (size - extent.y) / 2), color, text.c_str());
  }
}

void NodeRenderer::drawButton(const ui::Node& node) {
  std::string label = drawable(node.text);
  if (label.empty()) label = symbolText(node.symbol);
  int colors = 0;
  if (node.color) {
    ImGui::PushStyleColor(ImGuiCol_Button, toImColor(*node.color));
    ++colors;
  }
  if (ImGui::Button((label + "##button").c_str()) && node.onTap) act(node.onTap);
  record(node);
  ImGui::PopStyleColor(colors);
}

void NodeRenderer::drawField(const ui::Node& node) {
  // The node's text is the model's; ImGui edits a copy and the change goes back through onText.
  const std::size_t capacity =
      node.maxLength ? static_cast<std::size_t>(std::clamp(*node.maxLength, 0, 1 << 16)) * 4 + 1 : 4096;
  std::vector<char> buffer(std::max(capacity, node.text.size() + 1), '\0');
  std::copy(node.text.begin(), node.text.end(), buffer.begin());
  const std::string hint = drawable(node.placeholder);
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
  std::string label = mark + drawable(node.text);
  if (label.empty()) label = "( )";
  const float width = node.choiceStyle == ui::ChoiceStyle::emoji ? ImGui::CalcTextSize(label.c_str()).x + 12 : 0;
  if (ImGui::Selectable((label + "##choice").c_str(), node.selected, ImGuiSelectableFlags_None, ImVec2(width, 0)) &&
      node.onTap) {
    act(node.onTap);
  }
  record(node);
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
  if (!node.showsIndicators || count < 2) return;
  ImGui::BeginDisabled(selected == 0);
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
  ImGui::BeginDisabled(selected == count - 1);
  if (ImGui::ArrowButton("##next", ImGuiDir_Right) && node.onPage) {
    act([onPage = node.onPage, selected] { onPage(selected + 1); });
  }
  if (node.id) rects_[*node.id + "/next"] = ItemRect{ImGui::GetItemRectMin(), ImGui::GetItemRectMax()};
  ImGui::EndDisabled();
}

}  // namespace tarnwell::imgui
