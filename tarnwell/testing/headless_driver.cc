#include <tarnwell/testing/headless_driver.h>

#include <utility>

namespace tarnwell::testing {

HeadlessDriver::HeadlessDriver(ui::Node tree) : build_([tree = std::move(tree)] { return tree; }) {}

HeadlessDriver::HeadlessDriver(std::function<ui::Node()> build) : build_(std::move(build)) {}

// Each call holds its own tree, so an action that calls back into the driver rebuilds into a
// tree of its own and leaves the running one alone.
ui::Node HeadlessDriver::current() const { return build_ ? build_() : ui::Node{}; }

std::optional<ui::Node> HeadlessDriver::find(std::string_view target) {
  const ui::Node root = current();
  const ui::NodeMatch match = ui::findTarget(root, target);
  if (!match) return std::nullopt;
  return *match.node;
}

bool HeadlessDriver::tap(std::string_view target) { return ui::performTap(current(), target); }

bool HeadlessDriver::type(std::string_view target, std::string_view text) {
  return ui::performType(current(), target, text);
}

bool HeadlessDriver::page(std::string_view target, int index) { return ui::performPage(current(), target, index); }

std::vector<std::string> HeadlessDriver::visibleTexts() { return ui::visibleTexts(current()); }

ui::Node HeadlessDriver::tree() { return current(); }

}  // namespace tarnwell::testing
