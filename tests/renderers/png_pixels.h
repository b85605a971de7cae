// A PNG file read back into RGBA pixels, so a test can look at what a frame drew.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/imgui/node_renderer.h>

namespace tarnwell::testing {

struct PngPixels {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> rgba;

  static std::optional<PngPixels> load(const std::string& path);

  const unsigned char* at(int x, int y) const { return rgba.data() + (static_cast<std::size_t>(y) * width + x) * 4; }
  // Pixels inside `rect` that stand out from its most common colour: the strokes of a text.
  std::size_t inkIn(const imgui::ItemRect& rect) const;
};

}  // namespace tarnwell::testing
