// File: tarnwell/imgui/detail/drawable_text.h
//
// The text the renderer hands ImGui for a model's text. ImGui's default font holds ASCII and
// Latin-1, and Debian's ImGui keeps characters to 16 bits, so emoji cannot be drawn as glyphs:
// the faces the survey views use become ASCII faces (":)", ":D", ">:(") and typographic marks
// their plain forms; other characters outside the font are left out rather than drawn as "?".
#pragma once

#include <string>
#include <string_view>

namespace tarnwell::imgui::detail {

// At most the first 8000 bytes of `text`, in drawable form; the model keeps its text whole.
std::string drawable(std::string_view text);

}  // namespace tarnwell::imgui::detail
