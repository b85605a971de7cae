// Real frames of the overlay through GLFW and OpenGL, saved as PNG files and read back. Needs a display;
// ctest runs it under xvfb-run when that is installed.
#include <tarnwell/imgui/png_frame.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <tarnwell/testing/headless_driver.h>

#include "tests/renderers/gallery_items.h"
#include "tests/renderers/overlay_scene.h"
#include "tests/renderers/png_pixels.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::imgui {
namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 600;

bool hasDisplay() {
  const char* display = std::getenv("DISPLAY");
  return display && *display;
}

// Frames are kept in the build's test folder when there is one, so they can be looked at.
std::string framePath(const testing::ScratchDir& scratch, const std::string& name) {
  const char* tmp = std::getenv("TARNWELL_TEST_TMPDIR");
  if (!tmp || !*tmp) return scratch.file(name + ".png");
  const std::filesystem::path folder = std::filesystem::path(tmp) / "frames";
  std::filesystem::create_directories(folder);
  std::filesystem::remove(folder / (name + ".png"));
  return (folder / (name + ".png")).string();
}

bool readable(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)); });
}

// Draws the overlay with `item` as the survey or the announcement and reads the frame back.
struct DrawnFrame {
  std::vector<DrawnText> texts;
  std::vector<std::string> shown;  // what the view says is on screen
  testing::PngPixels pixels;
};

DrawnFrame drawFrame(const testing::ScratchDir& scratch, const testing::GalleryItem& entry, bool announcement) {
  testing::OverlayScene scene(announcement ? std::nullopt : std::optional<Survey>(entry.item),
                              announcement ? std::optional<Survey>(entry.item) : std::nullopt);
  DrawnFrame frame;
  const std::string path = framePath(scratch, entry.name);
  std::string error;
  EXPECT_TRUE(savePngFrame([&] { return scene.tree(); }, kWidth, kHeight, path, &error, &frame.texts)) << error;
  frame.shown = testing::HeadlessDriver([&] { return scene.tree(); }).visibleTexts();
  std::optional<testing::PngPixels> pixels = testing::PngPixels::load(path);
  EXPECT_TRUE(pixels) << path;
  if (pixels) frame.pixels = std::move(*pixels);
  return frame;
}

TEST(PngFrame, EverySurveyFlowAndAnnouncementLayoutDrawsItsTextsInsideTheFrame) {
  if (!hasDisplay()) GTEST_SKIP() << "no display: run under xvfb-run";
  testing::ScratchDir scratch;
  std::vector<std::pair<testing::GalleryItem, bool>> entries;
  for (auto& entry : testing::gallerySurveys()) entries.emplace_back(entry, false);
  for (auto& entry : testing::galleryAnnouncements()) entries.emplace_back(entry, true);
  for (const auto& [entry, announcement] : entries) {
    SCOPED_TRACE(entry.name);
    const DrawnFrame frame = drawFrame(scratch, entry, announcement);
    ASSERT_EQ(frame.pixels.width, kWidth);
    ASSERT_EQ(frame.pixels.height, kHeight);
    // Every text the view puts on screen reaches the frame...
    for (const std::string& text : frame.shown) {
      EXPECT_TRUE(
          std::any_of(frame.texts.begin(), frame.texts.end(), [&](const DrawnText& d) { return d.text == text; }))
          << "not drawn: " << text;
    }
    // ...whole, and with strokes that stand out from what is behind them.
    for (const DrawnText& drawn : frame.texts) {
      if (!readable(drawn.text)) continue;
      EXPECT_GE(drawn.rect.min.x, 0) << drawn.text;
      EXPECT_GE(drawn.rect.min.y, 0) << drawn.text;
      EXPECT_LE(drawn.rect.max.x, kWidth) << drawn.text;
      EXPECT_LE(drawn.rect.max.y, kHeight) << drawn.text;
      EXPECT_GE(frame.pixels.inkIn({drawn.rect.min, drawn.rect.max}), 4u) << "no visible strokes: " << drawn.text;
    }
  }
}

TEST(PngFrame, ItemsADashboardShouldNeverSendStillDrawACard) {
  if (!hasDisplay()) GTEST_SKIP() << "no display: run under xvfb-run";
  testing::ScratchDir scratch;
  for (const testing::GalleryItem& entry : testing::galleryBadSurveys()) {
    SCOPED_TRACE(entry.name);
    const DrawnFrame frame = drawFrame(scratch, entry, false);
    ASSERT_EQ(frame.pixels.width, kWidth);
    EXPECT_FALSE(frame.texts.empty());
    // The corner is the host's screen; the card in the middle differs from it.
    const unsigned char* corner = frame.pixels.at(kWidth - 1, kHeight - 1);
    const unsigned char* centre = frame.pixels.at(kWidth / 2, kHeight / 2);
    EXPECT_FALSE(centre[0] == corner[0] && centre[1] == corner[1] && centre[2] == corner[2]);
  }
}

TEST(PngFrame, AnUnwritablePathIsReported) {
  if (!hasDisplay()) GTEST_SKIP() << "no display: run under xvfb-run";
  std::string error;
  EXPECT_FALSE(savePngFrame([] { return ui::text("x"); }, 64, 64, "/nonexistent-folder/x.png", &error));
  EXPECT_NE(error.find("could not write"), std::string::npos) << error;
}

}  // namespace
}  // namespace tarnwell::imgui
