// What a frame of the overlay costs the host: building the node tree of each of the fourteen
// survey flows, beside drawing that same tree with the ImGui renderer into an off-screen frame
// (ImGui's draw lists, without a GPU). The SDK's own share of a frame must stay the small part.
#include <imgui.h>

#include <string>
#include <vector>

#include <tarnwell/imgui.h>

#include "bench/ratio_reporter.h"
#include "tests/renderers/gallery_items.h"
#include "tests/renderers/overlay_scene.h"

namespace {

using namespace tarnwell;

// One ImGui context for the whole program, with the fonts the renderer uses.
struct HeadlessImGui {
  HeadlessImGui() {
    ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = ImVec2(1280, 800);
    io.DeltaTime = 1.0f / 60;
    io.BackendFlags |= ImGuiBackendFlags_RendererHasVtxOffset;
    imgui::addSymbolFont(*io.Fonts);
    unsigned char* pixels = nullptr;
    int width = 0;
    int height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
  }
};

const HeadlessImGui& headless() {
  static const HeadlessImGui context;
  return context;
}

std::vector<testing::GalleryItem> flows() {
  static const std::vector<testing::GalleryItem> items = testing::gallerySurveys();
  return items;
}

void BM_BuildOverlayTree(benchmark::State& state) {
  const testing::GalleryItem item = flows()[static_cast<std::size_t>(state.range(0))];
  testing::OverlayScene scene(item.item);
  for (auto _ : state) {
    ui::Node tree = scene.overlay.tree();
    benchmark::DoNotOptimize(tree);
  }
  state.SetLabel(item.name);
}

void BM_DrawOverlayTree(benchmark::State& state) {
  headless();
  const testing::GalleryItem item = flows()[static_cast<std::size_t>(state.range(0))];
  testing::OverlayScene scene(item.item);
  const ui::Node tree = scene.overlay.tree();
  imgui::NodeRenderer renderer;
  // The card has come in: what is measured is a frame of a card at rest.
  for (int k = 0; k < 60; ++k) {
    ImGui::NewFrame();
    renderer.draw(tree);
    ImGui::Render();
  }
  for (auto _ : state) {
    ImGui::NewFrame();
    renderer.draw(tree);
    ImGui::Render();
    benchmark::DoNotOptimize(ImGui::GetDrawData()->TotalVtxCount);
  }
  state.SetLabel(item.name);
}

constexpr int kFlows = 14;
BENCHMARK(BM_BuildOverlayTree)->DenseRange(0, kFlows - 1);
BENCHMARK(BM_DrawOverlayTree)->DenseRange(0, kFlows - 1);

}  // namespace

int main(int argc, char** argv) {
  std::vector<tarnwell::bench::Ratio> ratios;
  for (int k = 0; k < kFlows; ++k) {
    const std::string arg = "/" + std::to_string(k);
    ratios.push_back({"BM_BuildOverlayTree" + arg, "BM_DrawOverlayTree" + arg, 0.5});
  }
  return tarnwell::bench::runWithRatios(argc, argv, ratios);
}
