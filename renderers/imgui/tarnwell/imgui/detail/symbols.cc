#include <tarnwell/imgui/detail/symbols.h>

#include <cmath>
#include <cstdint>
#include <utility>

namespace tarnwell::imgui::detail {
namespace {

// The icon font's code point for a symbol name; 0 when it has none.
std::uint16_t iconCodePoint(std::string_view name) {
  static constexpr std::pair<std::string_view, std::uint16_t> kIcons[] = {
      {"hand.thumbsup.fill", 0xF164},
      {"hand.thumbsup", 0xF087},
      {"hand.thumbsdown.fill", 0xF165},
      {"hand.thumbsdown", 0xF088},
      {"checkmark", 0xF00C},
      {"checkmark.circle.fill", 0xF058},
      {"chevron.left", 0xF053},
      {"chevron.right", 0xF054},
      {"photo", 0xF03E},
      {"photo.on.rectangle.angled", 0xF03E},
      {"bell", 0xF0F3},
      {"bell.fill", 0xF0F3},
      {"megaphone", 0xF0A1},
      {"megaphone.fill", 0xF0A1},
      {"sparkles", 0xF0D0},
      {"gift", 0xF06B},
      {"info.circle", 0xF05A},
      {"info.circle.fill", 0xF05A},
      {"exclamationmark.triangle", 0xF071},
      {"exclamationmark.triangle.fill", 0xF071},
      {"heart", 0xF08A},
      {"heart.fill", 0xF004},
      {"bubble.left", 0xF0E5},
      {"bubble.left.fill", 0xF075},
      {"envelope", 0xF003},
      {"envelope.fill", 0xF0E0},
      {"gearshape", 0xF013},
      {"bolt.fill", 0xF0E7},
      {"arrow.down.circle", 0xF01A},
  };
  for (const auto& [symbol, codePoint] : kIcons) {
    if (symbol == name) return codePoint;
  }
  return 0;
}

// The glyph as UTF-8 when the current font holds it.
std::string iconText(std::string_view name) {
  const std::uint16_t cp = iconCodePoint(name);
  if (cp == 0 || !ImGui::GetFont() || !ImGui::GetFont()->FindGlyphNoFallback(static_cast<ImWchar>(cp))) return {};
  return {static_cast<char>(0xE0 | (cp >> 12)), static_cast<char>(0x80 | ((cp >> 6) & 0x3F)),
          static_cast<char>(0x80 | (cp & 0x3F))};
}

std::string asciiMark(std::string_view name) {
  if (name.starts_with("hand.thumbsup")) return "(+)";
  if (name.starts_with("hand.thumbsdown")) return "(-)";
  if (name.starts_with("checkmark")) return "(v)";
  if (name.starts_with("chevron.left")) return "<";
  if (name.starts_with("chevron.right")) return ">";
  return "*";
}

// The star and the close mark are drawn as shapes: they scale cleanly at any size.
bool drawShape(ImDrawList* list, std::string_view name, ImVec2 min, float size, ImU32 color) {
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

}  // namespace

void drawSymbol(ImDrawList* list, std::string_view name, ImVec2 min, float size, ImU32 color) {
  if (drawShape(list, name, min, size, color)) return;
  const std::string text = symbolLabel(name);
  // Icons are drawn at most at twice the font's size, where its glyphs still look sharp.
  const float fontSize = std::min(size * 0.8f, ImGui::GetFontSize() * 2);
  const ImVec2 extent = ImGui::GetFont()->CalcTextSizeA(fontSize, size * 4, 0, text.c_str());
  list->AddText(ImGui::GetFont(), fontSize, ImVec2(min.x + (size - extent.x) / 2, min.y + (size - extent.y) / 2), color,
                text.c_str());
}

std::string symbolLabel(std::string_view name) {
  std::string icon = iconText(name);
  return icon.empty() ? asciiMark(name) : icon;
}

}  // namespace tarnwell::imgui::detail
