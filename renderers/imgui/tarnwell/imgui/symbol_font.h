// File: tarnwell/imgui/symbol_font.h
//
// Symbols in views are named the way the dashboard names them ("star.fill",
// "hand.thumbsup.fill", "photo.on.rectangle.angled", ...). The renderer draws a few as vector
// shapes and the rest from an icon font, when one is merged into the font atlas before it is
// built. Debian's fonts-font-awesome provides one:
//
//   ImGui::CreateContext();
//   tarnwell::imgui::addSymbolFont(*ImGui::GetIO().Fonts);   // before the atlas is built
//
// Without the font, those symbols read as short ASCII marks ("(+)", ">"), so a view never shows
// an empty box. Call on the thread that owns the ImGui context.
#pragma once

#include <imgui.h>

#include <string>

namespace tarnwell::imgui {

// Where Debian installs the icon font.
inline constexpr const char* kDefaultSymbolFontPath = "/usr/share/fonts/truetype/font-awesome/fontawesome-webfont.ttf";

// Adds ImGui's default font, then merges the icon font's glyphs into it at `size` pixels.
// Answers false, leaving the atlas with the default font alone, when the file cannot be read.
bool addSymbolFont(ImFontAtlas& atlas, const std::string& path = kDefaultSymbolFontPath, float size = 13.0f);

}  // namespace tarnwell::imgui
