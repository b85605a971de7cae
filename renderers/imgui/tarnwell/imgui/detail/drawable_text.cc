#include <tarnwell/imgui/detail/drawable_text.h>

#include <algorithm>

namespace tarnwell::imgui::detail {
namespace {

constexpr std::size_t kMaxDrawnBytes = 8000;

}  // namespace

std::string drawable(std::string_view text) {
  std::string out;
  const std::size_t size = std::min(text.size(), kMaxDrawnBytes);
  for (std::size_t i = 0; i < size;) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      out += static_cast<char>(byte);
      ++i;
      continue;
    }
    int length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    unsigned int cp = byte & (length == 4 ? 0x07 : length == 3 ? 0x0F : 0x1F);
    for (int k = 1; k < length && i + k < size; ++k) cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    i += length;
    if (cp >= 0xA0 && cp <= 0xFF) {
      out.append(text.substr(i - length, length));
    } else if (cp == 0x2018 || cp == 0x2019) {
      out += '\'';
    } else if (cp == 0x201C || cp == 0x201D) {
      out += '"';
    } else if (cp == 0x2026) {
      out += "...";
    } else if (cp == 0x2013 || cp == 0x2014 || cp == 0x2022) {
      out += '-';
    } else if (cp == 0x1F621 || cp == 0x1F620 || cp == 0x1F61E || cp == 0x1F629) {
      out += ">:(";
    } else if (cp == 0x1F641 || cp == 0x1F615 || cp == 0x1F61F || cp == 0x2639) {
      out += ":(";
    } else if (cp == 0x1F610 || cp == 0x1F611) {
      out += ":|";
    } else if (cp == 0x1F642 || cp == 0x1F60A || cp == 0x263A) {
      out += ":)";
    } else if (cp == 0x1F600 || cp == 0x1F603 || cp == 0x1F604 || cp == 0x1F601 || cp == 0x1F60D || cp == 0x1F929) {
      out += ":D";
    }
    // Variation selectors, joiners and other pictographs are left out.
  }
  return out;
}

}  // namespace tarnwell::imgui::detail
