// File: tarnwell/imgui/png_frame.h
//
// Draws a node tree into an off-screen GLFW/OpenGL window and saves the frame as a PNG: for
// tests and for pictures in the docs. Needs a display (under CI, run through `xvfb-run -a`).
//
//   std::string error;
//   if (!tarnwell::imgui::savePngFrame([&] { return overlay.tree(); }, 800, 600, "nps.png", &error)) {
//     std::cerr << error << "\n";   // "no display: ..." when no GL context can be made
//   }
#pragma once

#include <functional>
#include <string>

#include <tarnwell/ui/node.h>

namespace tarnwell::imgui {

// Draws `frames` frames (windows that fit their content settle after the second) of the tree
// `build` returns, `width` x `height` pixels, and writes the last one to `path`. Answers false,
// with the reason in `error`, when no window or GL context can be made or the file cannot be
// written. Uses a private ImGui context; the caller's current context is restored.
bool savePngFrame(const std::function<ui::Node()>& build, int width, int height, const std::string& path,
                  std::string* error, int frames = 3);

}  // namespace tarnwell::imgui
