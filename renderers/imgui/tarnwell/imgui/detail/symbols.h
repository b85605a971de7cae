// File: tarnwell/imgui/detail/symbols.h
//
// How the renderer draws a named symbol into a square: a vector shape for the few it draws
// itself, else the icon font's glyph when the current font has it, else an ASCII mark.
#pragma once

#include <imgui.h>

#include <string>
#include <string_view>

namespace tarnwell::imgui::detail {

// Draws `name` into the square at `min` with side `size`; never draws nothing.
void drawSymbol(ImDrawList* list, std::string_view name, ImVec2 min, float size, ImU32 color);

// The mark a button label without words uses: the icon glyph as UTF-8 when the current font has
// it, else ASCII.
std::string symbolLabel(std::string_view name);

}  // namespace tarnwell::imgui::detail
