// File: tarnwell/imgui/png_frame.h
//
// Draws a node tree into an off-screen GLFW/OpenGL window and saves the frame as a PNG: for
// tests and for pictures in the docs; or saves a host's own window. Needs a display (under CI, run through `xvfb-run
// -a`).
//
//   std::string error;
//   if (!tarnwell::imgui::savePngFrame([&] { return overlay.tree(); }, 800, 600, "nps.png", &error)) {
//     std::cerr << error << "\n";   // "no display: ..." when no GL context can be made
//   }
#pragma once

#include <functional>
#include <string>

#include <vector>

#include <tarnwell/imgui/node_renderer.h>
#include <tarnwell/ui/node.h>

namespace tarnwell::imgui {

// Draws the tree `build` returns, `width` x `height` pixels, frame after frame at 60 frames a
// second until windows have fitted their content and every transition has come to rest (at most
// ten seconds of frames), and writes the last frame to `path`; `texts`, when given, receives
// what that frame drew where. Answers false, with the reason in `error`, when no window or GL
// context can be made or the file cannot be written. Uses a private ImGui context; the caller's
// current context is restored.
bool savePngFrame(const std::function<ui::Node()>& build, int width, int height, const std::string& path,
                  std::string* error, std::vector<DrawnText>* texts = nullptr);

// Writes the back buffer of the current OpenGL context, `width` x `height` pixels from the
// bottom-left corner, to `path` as a PNG: a host's own window saved as a picture. Call after the
// frame is rendered and before the buffers are swapped. Answers false, with the reason in
// `error`, when the file cannot be written.
bool writeBackBufferPng(int width, int height, const std::string& path, std::string* error);

}  // namespace tarnwell::imgui
