// File: tarnwell/imgui.h
//
// The Dear ImGui reference renderer of TarnwellSdk's views (target tarnwell::imgui): draws any
// ui::Node tree, feeds presses, typing and paging back to the nodes' actions, animates the
// overlay's layers on their springs, and saves frames as PNG files.
//
//   tarnwell::imgui::addSymbolFont(*ImGui::GetIO().Fonts);   // once, before the atlas is built
//   tarnwell::imgui::NodeRenderer renderer;
//   renderer.draw(overlay.tree());                             // every frame
#pragma once

#include <tarnwell/imgui/node_renderer.h>
#include <tarnwell/imgui/png_frame.h>
#include <tarnwell/imgui/symbol_font.h>
