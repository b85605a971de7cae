#include <tarnwell/imgui/png_frame.h>

#define GLFW_INCLUDE_NONE
#include <GL/gl.h>
#include <GLFW/glfw3.h>
#include <backends/imgui_impl_glfw.h>
#include <backends/imgui_impl_opengl2.h>
#include <imgui.h>
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

#include <cstdlib>
#include <vector>

#include <tarnwell/imgui/node_renderer.h>
#include <tarnwell/imgui/symbol_font.h>

namespace tarnwell::imgui {

bool savePngFrame(const std::function<ui::Node()>& build, int width, int height, const std::string& path,
                  std::string* error, std::vector<DrawnText>* texts) {
  auto fail = [error](std::string message) {
    if (error) *error = std::move(message);
    return false;
  };
  if (width <= 0 || height <= 0 || width > 8192 || height > 8192) return fail("frame size out of range");
  if (!glfwInit()) return fail("no display: GLFW could not start (run under xvfb-run -a)");
  // Hidden, so a desktop shows no window; the back buffer is read before it would be shown.
  glfwWindowHint(GLFW_VISIBLE, GLFW_FALSE);
  glfwWindowHint(GLFW_CLIENT_API, GLFW_OPENGL_API);
  GLFWwindow* window = glfwCreateWindow(width, height, "tarnwell frame", nullptr, nullptr);
  if (!window) {
    glfwTerminate();
    return fail("no display: no OpenGL window could be made (run under xvfb-run -a)");
  }
  glfwMakeContextCurrent(window);

  ImGuiContext* previous = ImGui::GetCurrentContext();
  ImGuiContext* context = ImGui::CreateContext();
  ImGui::SetCurrentContext(context);
  ImGui::GetIO().IniFilename = nullptr;
  addSymbolFont(*ImGui::GetIO().Fonts);
  ImGui::StyleColorsDark();
  ImGui_ImplGlfw_InitForOpenGL(window, false);
  ImGui_ImplOpenGL2_Init();

  NodeRenderer renderer;
  int framebufferWidth = width;
  int framebufferHeight = height;
  // Windows that fit their content settle after the second frame; transitions take longer.
  constexpr int kMinFrames = 3;
  constexpr int kMaxFrames = 600;
  for (int frame = 0; frame < kMaxFrames && (frame < kMinFrames || renderer.animating()); ++frame) {
    glfwPollEvents();
    ImGui_ImplOpenGL2_NewFrame();
    ImGui_ImplGlfw_NewFrame();
    // A hidden window may report no size on some servers: the frame keeps the size asked for.
    ImGui::GetIO().DisplaySize = ImVec2(static_cast<float>(width), static_cast<float>(height));
    // Frames come at a steady pace, however fast the machine draws them.
    ImGui::GetIO().DeltaTime = 1.0f / 60;
    ImGui::NewFrame();
    renderer.draw(build());
    ImGui::Render();
    glfwGetFramebufferSize(window, &framebufferWidth, &framebufferHeight);
    if (framebufferWidth <= 0 || framebufferHeight <= 0) {
      framebufferWidth = width;
      framebufferHeight = height;
    }
    glViewport(0, 0, framebufferWidth, framebufferHeight);
    glClearColor(0.1f, 0.1f, 0.12f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    ImGui_ImplOpenGL2_RenderDrawData(ImGui::GetDrawData());
  }
  if (texts) *texts = renderer.drawnTexts();
  const bool written = writeBackBufferPng(width, height, path, error);

  ImGui_ImplOpenGL2_Shutdown();
  ImGui_ImplGlfw_Shutdown();
  ImGui::DestroyContext(context);
  ImGui::SetCurrentContext(previous);
  glfwDestroyWindow(window);
  glfwTerminate();
  return written;
}

bool writeBackBufferPng(int width, int height, const std::string& path, std::string* error) {
  if (width <= 0 || height <= 0 || width > 8192 || height > 8192) {
    if (error) *error = "frame size out of range";
    return false;
  }
  glFinish();
  std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  glReadBuffer(GL_BACK);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  // GL rows run bottom to top; PNG rows top to bottom.
  stbi_flip_vertically_on_write(1);
  const int written = stbi_write_png(path.c_str(), width, height, 4, pixels.data(), width * 4);
  stbi_flip_vertically_on_write(0);
  if (!written) {
    if (error) *error = "could not write " + path;
    return false;
  }
  return true;
}

}  // namespace tarnwell::imgui
