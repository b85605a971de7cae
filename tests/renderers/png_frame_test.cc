// A real frame of the NPS overlay through GLFW and OpenGL, saved as a PNG. Needs a display;
// ctest runs it under xvfb-run when that is installed.
#include <tarnwell/imgui/png_frame.h>

#include <gtest/gtest.h>
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb_image.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/renderers/nps_overlay.h"
#include "tests/support/scratch_dir.h"

namespace tarnwell::imgui {
namespace {

TEST(PngFrame, DrawsTheNpsOverlayIntoAPng) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no display: run under xvfb-run";
  testing::ScratchDir scratch;
  // Kept in the test folder when there is one, so the frame can be looked at afterwards.
  const char* tmp = std::getenv("TARNWELL_TEST_TMPDIR");
  std::string path = scratch.file("nps-survey.png");
  if (tmp && *tmp) {
    std::filesystem::create_directories(tmp);
    path = std::string(tmp) + "/nps-survey.png";
  }
  std::filesystem::remove(path);

  testing::NpsOverlay nps;
  std::string error;
  ASSERT_TRUE(savePngFrame([&] { return nps.tree(); }, 800, 600, path, &error)) << error;
  ASSERT_TRUE(std::filesystem::exists(path));

  int width = 0;
  int height = 0;
  int channels = 0;
  std::unique_ptr<unsigned char, void (*)(void*)> pixels(stbi_load(path.c_str(), &width, &height, &channels, 4),
                                                         stbi_image_free);
  ASSERT_TRUE(pixels);
  ASSERT_EQ(width, 800);
  ASSERT_EQ(height, 600);
  // The corner is the host's screen; the survey card and its words differ from it.
  const unsigned char* corner = pixels.get() + (static_cast<std::size_t>(height - 1) * width + width - 1) * 4;
  std::size_t differing = 0;
  std::size_t bright = 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(width) * height; ++i) {
    const unsigned char* p = pixels.get() + i * 4;
    if (p[0] != corner[0] || p[1] != corner[1] || p[2] != corner[2]) ++differing;
    if (p[0] > 200 && p[1] > 200 && p[2] > 200) ++bright;
  }
  EXPECT_GT(differing, static_cast<std::size_t>(width) * height / 20);
  EXPECT_GT(bright, 500u);
  const unsigned char* centre = pixels.get() + (static_cast<std::size_t>(height / 2) * width + width / 2) * 4;
  EXPECT_FALSE(centre[0] == corner[0] && centre[1] == corner[1] && centre[2] == corner[2]);
}

TEST(PngFrame, AnUnwritablePathIsReported) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no display: run under xvfb-run";
  std::string error;
  EXPECT_FALSE(savePngFrame([] { return ui::text("x"); }, 64, 64, "/nonexistent-folder/x.png", &error));
  EXPECT_NE(error.find("could not write"), std::string::npos) << error;
}

}  // namespace
}  // namespace tarnwell::imgui
