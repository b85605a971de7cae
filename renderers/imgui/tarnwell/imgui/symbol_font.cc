#include <tarnwell/imgui/symbol_font.h>

#include <fstream>

namespace tarnwell::imgui {

bool addSymbolFont(ImFontAtlas& atlas, const std::string& path, float size) {
  if (atlas.Fonts.empty()) atlas.AddFontDefault();
  // ImGui aborts on a font file it cannot open, so the file is checked first.
  if (!std::ifstream(path, std::ios::binary).good()) return false;
  // The icon font keeps its glyphs in the private use area; the atlas keeps this range's address.
  static const ImWchar kIconRange[] = {0xF000, 0xF2E0, 0};
  ImFontConfig config;
  config.MergeMode = true;
  config.PixelSnapH = true;
  config.GlyphMinAdvanceX = size;
  return atlas.AddFontFromFileTTF(path.c_str(), size, &config, kIconRange) != nullptr;
}

}  // namespace tarnwell::imgui
