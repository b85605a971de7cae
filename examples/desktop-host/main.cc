// A small desktop application wrapped in the SDK's overlay: a few buttons that track events, a
// feature flag read shown as text, and the surveys and announcements those events bring up,
// drawn by the ImGui reference renderer in a GLFW window. Run it against tarnwell-gateway with
// the example content (scripts/desktop-host starts both).
//
//   tarnwell-desktop-host --config examples/tarnwell-config.json --endpoint http://127.0.0.1:PORT/v1
//
// For scripted runs (a test, a screenshot on a server under xvfb-run), steps act on the screen
// as a person would once their target is shown, and --screenshot saves the frame after the last
// step and quits:
//
//   --press "Complete checkout" --press 9 --type @placeholder:Optional "Quick" --press Send \
//   --screenshot after.png
#define GLFW_INCLUDE_NONE
#include <GL/gl.h>
#include <GLFW/glfw3.h>
#include <backends/imgui_impl_glfw.h>
#include <backends/imgui_impl_opengl2.h>
#include <imgui.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include <tarnwell/imgui.h>
#include <tarnwell/tarnwell.h>

namespace {

using namespace tarnwell;

// One scripted action on the screen: press a target, or type into it.
struct Step {
  std::string target;
  std::optional<std::string> text;
};

struct Options {
  std::string configPath = "examples/tarnwell-config.json";
  std::optional<std::string> endpoint;
  std::string storePath;
  std::string userId = "desktop-user";
  std::deque<Step> steps;
  std::optional<std::string> screenshot;
};

std::optional<Options> parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view flag = argv[i];
    const bool hasValue = i + 1 < argc;
    if (flag == "--config" && hasValue) {
      options.configPath = argv[++i];
    } else if (flag == "--endpoint" && hasValue) {
      options.endpoint = argv[++i];
    } else if (flag == "--store" && hasValue) {
      options.storePath = argv[++i];
    } else if (flag == "--user" && hasValue) {
      options.userId = argv[++i];
    } else if (flag == "--press" && hasValue) {
      options.steps.push_back({argv[++i], std::nullopt});
    } else if (flag == "--type" && i + 2 < argc) {
      options.steps.push_back({argv[i + 1], std::string(argv[i + 2])});
      i += 2;
    } else if (flag == "--screenshot" && hasValue) {
      options.screenshot = argv[++i];
    } else {
      std::fprintf(stderr, "desktop-host: unknown or incomplete argument: %s\n", argv[i]);
      return std::nullopt;
    }
  }
  return options;
}

std::optional<TarnwellSDKConfig> loadConfig(const Options& options) {
  std::ifstream file(options.configPath, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "desktop-host: cannot read %s\n", options.configPath.c_str());
    return std::nullopt;
  }
  try {
    TarnwellSDKConfig config = TarnwellSDKConfig::fromJSON(
        std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
    if (options.endpoint) config.appwrite.endpoint = *options.endpoint;
    return config;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "desktop-host: bad config %s: %s\n", options.configPath.c_str(), error.what());
    return std::nullopt;
  }
}

// The host application's own screen. Everything here runs on the window's thread, which also
// pumps the SDK's main context, so SDK completions may touch it freely.
class HostScreen {
 public:
  explicit HostScreen(Tarnwell& sdk) : sdk_(sdk) {}

  void started(const SDKState& state) {
    ready_ = state.kind() == SDKState::Kind::ready;
    status_ = ready_ ? "ready" : "not ready (see the log)";
    readFlag();
  }
  // Events tracked before start-up has ended are dropped, so scripted steps wait for it.
  bool ready() const { return ready_; }

  ui::Node tree() {
    std::vector<ui::Node> actions;
    actions.push_back(track("host/checkout", "Complete checkout", "checkout_completed"));
    actions.push_back(track("host/dashboard", "Open dashboard", "dashboard_opened"));
    actions.push_back(track("host/settings", "Open settings", "settings_opened"));
    actions.push_back(track("host/search", "Search", "search_performed"));
    const bool pro = plan_ == "pro";
    return ui::vstack({ui::text("Tarnwell desktop host", ui::TextRole::title), ui::text("SDK: " + status_),
                       ui::text("Flag checkout_flow: " + checkoutFlow_), ui::hstack(std::move(actions), 8),
                       ui::button("host/plan", pro ? "Switch to the free plan" : "Switch to the pro plan",
                                  [this, pro] { switchPlan(pro ? "free" : "pro"); }),
                       ui::text(lastAction_, ui::TextRole::caption)},
                      12)
        .withPadding(24);
  }

 private:
  ui::Node track(std::string id, std::string label, std::string event) {
    return ui::button(std::move(id), std::move(label), [this, event] {
      sdk_.trackEvent(event);
      lastAction_ = "Tracked " + event;
    });
  }

  void switchPlan(std::string plan) {
    plan_ = plan;
    sdk_.setUserProperty("plan", JSONValue(plan));
    lastAction_ = "Plan is now " + plan;
    readFlag();
  }

  void readFlag() {
    sdk_.getFeatureFlag<std::string>("checkout_flow", "classic",
                                     [this](std::string value) { checkoutFlow_ = std::move(value); });
  }

  Tarnwell& sdk_;
  bool ready_ = false;
  std::string status_ = "starting";
  std::string checkoutFlow_ = "-";
  std::string plan_ = "free";
  std::string lastAction_;
};

// Runs the next scripted step once its target is on screen; true when none is left.
bool runSteps(std::deque<Step>& steps, const ui::Node& tree, bool& failed) {
  if (steps.empty()) return true;
  const Step& step = steps.front();
  const ui::NodeMatch match = ui::findTarget(tree, step.target);
  if (!match || !match.enabled) return false;
  const bool done = step.text ? ui::performType(tree, step.target, *step.text) : ui::performTap(tree, step.target);
  if (!done) {
    std::fprintf(stderr, "desktop-host: could not act on %s\n", step.target.c_str());
    failed = true;
  }
  std::printf("desktop-host: %s %s\n", step.text ? "typed into" : "pressed", step.target.c_str());
  steps.pop_front();
  return steps.empty();
}

}  // namespace

int main(int argc, char** argv) {
  std::optional<Options> options = parseOptions(argc, argv);
  if (!options) return 2;
  const std::optional<TarnwellSDKConfig> config = loadConfig(*options);
  if (!config) return 2;

  if (!glfwInit()) {
    std::fprintf(stderr, "desktop-host: no display (on a server, run under xvfb-run -a)\n");
    return 1;
  }
  GLFWwindow* window = glfwCreateWindow(1024, 720, "Tarnwell desktop host", nullptr, nullptr);
  if (!window) {
    std::fprintf(stderr, "desktop-host: no OpenGL window could be made\n");
    glfwTerminate();
    return 1;
  }
  glfwMakeContextCurrent(window);
  glfwSwapInterval(1);
  ImGui::CreateContext();
  ImGui::GetIO().IniFilename = nullptr;
  imgui::addSymbolFont(*ImGui::GetIO().Fonts);
  ImGui::StyleColorsDark();
  ImGui_ImplGlfw_InitForOpenGL(window, true);
  ImGui_ImplOpenGL2_Init();

  int status = 0;
  {
    // The window's loop pumps the SDK's main context: completions and the overlay's updates
    // arrive between frames, on this thread.
    HostOptions host;
    host.mainContextMode = MainContext::Mode::hostPumped;
    host.storePath = options->storePath;
    Tarnwell sdk(std::move(host));
    HostScreen screen(sdk);
    TarnwellOverlayHost overlay(sdk.overlayFeeds(), [&screen] { return screen.tree(); });
    imgui::NodeRenderer renderer;
    sdk.initialize(*config, [&screen](const SDKState& state) { screen.started(state); });
    sdk.identify(options->userId);
    sdk.onStart();

    bool failed = false;
    const auto startedAt = std::chrono::steady_clock::now();
    while (!glfwWindowShouldClose(window)) {
      glfwPollEvents();
      sdk.mainContext().poll();
      ImGui_ImplOpenGL2_NewFrame();
      ImGui_ImplGlfw_NewFrame();
      ImGui::NewFrame();
      const ui::Node tree = overlay.tree();
      renderer.draw(tree);
      ImGui::Render();
      int width = 0;
      int height = 0;
      glfwGetFramebufferSize(window, &width, &height);
      glViewport(0, 0, width, height);
      glClearColor(0.1f, 0.1f, 0.12f, 1.0f);
      glClear(GL_COLOR_BUFFER_BIT);
      ImGui_ImplOpenGL2_RenderDrawData(ImGui::GetDrawData());

      if (options->screenshot) {
        const bool stepsDone = screen.ready() && runSteps(options->steps, overlay.tree(), failed);
        // A scripted run that cannot reach its next step in half a minute has failed.
        if (std::chrono::steady_clock::now() - startedAt > std::chrono::seconds(30)) {
          std::fprintf(stderr, "desktop-host: gave up waiting for %s\n",
                       options->steps.empty() ? "the screen to settle" : options->steps.front().target.c_str());
          failed = true;
        }
        if (failed || (stepsDone && !renderer.animating())) {
          std::string error;
          if (!imgui::writeBackBufferPng(width, height, *options->screenshot, &error)) {
            std::fprintf(stderr, "desktop-host: %s\n", error.c_str());
            failed = true;
          }
          break;
        }
      } else if (screen.ready() && !options->steps.empty()) {
        runSteps(options->steps, overlay.tree(), failed);
      }
      glfwSwapBuffers(window);
    }
    // The last events and answers reach the gateway before the window goes.
    sdk.onStop();
    sdk.flushAndWait(std::chrono::seconds(5));
    status = failed ? 1 : 0;
  }

  ImGui_ImplOpenGL2_Shutdown();
  ImGui_ImplGlfw_Shutdown();
  ImGui::DestroyContext();
  glfwDestroyWindow(window);
  glfwTerminate();
  return status;
}
