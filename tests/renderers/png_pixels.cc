#include "tests/renderers/png_pixels.h"

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>

namespace tarnwell::testing {

std::optional<PngPixels> PngPixels::load(const std::string& path) {
  int width = 0;
  int height = 0;
  int channels = 0;
  std::unique_ptr<unsigned char, void (*)(void*)> data(stbi_load(path.c_str(), &width, &height, &channels, 4),
                                                       stbi_image_free);
  if (!data) return std::nullopt;
  PngPixels pixels{width, height, {}};
  pixels.rgba.assign(data.get(), data.get() + static_cast<std::size_t>(width) * height * 4);
  return pixels;
}

std::size_t PngPixels::inkIn(const imgui::ItemRect& rect) const {
  const int x0 = std::clamp(static_cast<int>(rect.min.x), 0, width);
  const int x1 = std::clamp(static_cast<int>(rect.max.x), 0, width);
  const int y0 = std::clamp(static_cast<int>(rect.min.y), 0, height);
  const int y1 = std::clamp(static_cast<int>(rect.max.y), 0, height);
  auto pack = [](const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) << 16 | static_cast<std::uint32_t>(p[1]) << 8 | p[2];
  };
  std::map<std::uint32_t, std::size_t> counts;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) ++counts[pack(at(x, y))];
  }
  if (counts.empty()) return 0;
  const std::uint32_t ground =
      std::max_element(counts.begin(), counts.end(), [](auto& a, auto& b) { return a.second < b.second; })->first;
  const int gr = static_cast<int>(ground >> 16 & 0xFF);
  const int gg = static_cast<int>(ground >> 8 & 0xFF);
  const int gb = static_cast<int>(ground & 0xFF);
  std::size_t ink = 0;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      const unsigned char* p = at(x, y);
      const int contrast = std::max({std::abs(p[0] - gr), std::abs(p[1] - gg), std::abs(p[2] - gb)});
      if (contrast > 60) ++ink;
    }
  }
  return ink;
}

}  // namespace tarnwell::testing
