#include <tarnwell/ui/node_query.h>

#include <charconv>
#include <cstddef>
#include <functional>
#include <utility>

namespace tarnwell::ui {
namespace {

constexpr std::string_view kSymbolPrefix = "@symbol:";
constexpr std::string_view kPlaceholderPrefix = "@placeholder:";

// Visits what is drawn, in drawing order, until `visit` answers true. A disabled container
// disables everything inside it, as a toolkit does.
template <typename Visit>
bool walkDrawnNodes(const Node& node, bool enabledAround, Visit& visit) {
  const bool enabled = enabledAround && node.enabled;
  if (visit(node, enabled)) return true;
  if (node.kind == Kind::pager) {
    const int page = node.selectedIndex;
    if (page < 0 || static_cast<std::size_t>(page) >= node.children.size()) return false;
    return walkDrawnNodes(node.children[static_cast<std::size_t>(page)], enabled, visit);
  }
  for (const Node& child : node.children) {
    if (walkDrawnNodes(child, enabled, visit)) return true;
  }
  return false;
}

template <typename Accept>
NodeMatch firstDrawnMatch(const Node& root, Accept accept) {
  NodeMatch match;
  auto visit = [&](const Node& node, bool enabled) {
    if (!accept(node)) return false;
    match = {&node, enabled};
    return true;
  };
  walkDrawnNodes(root, true, visit);
  return match;
}

// "NAME#N" into NAME and N; without a trailing "#digits" the whole text is the name and N is 1.
// A count that does not fit an int or is 0 names nothing.
NodeMatch findNthSymbol(const Node& root, std::string_view target) {
  std::string_view name = target;
  long long wanted = 1;
  if (const std::size_t hash = target.rfind('#'); hash != std::string_view::npos && hash + 1 < target.size()) {
    const std::string_view digits = target.substr(hash + 1);
    if (digits.find_first_not_of("0123456789") == std::string_view::npos) {
      const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), wanted);
      if (error != std::errc() || end != digits.data() + digits.size()) return {};
      name = target.substr(0, hash);
    }
  }
  if (name.empty() || wanted < 1) return {};
  long long seen = 0;
  return firstDrawnMatch(root, [&](const Node& node) { return node.symbol == name && ++seen == wanted; });
}

// The node a target names, if it is enabled and carries the action `action` picks out.
template <typename Action>
const Node* actionableTarget(const Node& root, std::string_view target, Action Node::*action) {
  const NodeMatch match = findTarget(root, target);
  if (!match || !match.enabled || !(match.node->*action)) return nullptr;
  return match.node;
}

}  // namespace

NodeMatch findTarget(const Node& root, std::string_view target) {
  if (target.empty()) return {};
  if (NodeMatch byId = firstDrawnMatch(root, [&](const Node& node) { return node.id && *node.id == target; })) {
    return byId;
  }
  if (target.starts_with(kSymbolPrefix)) return findNthSymbol(root, target.substr(kSymbolPrefix.size()));
  if (target.starts_with(kPlaceholderPrefix)) {
    const std::string_view placeholder = target.substr(kPlaceholderPrefix.size());
    if (placeholder.empty()) return {};
    return firstDrawnMatch(root, [&](const Node& node) { return node.placeholder == placeholder; });
  }
  return firstDrawnMatch(root, [&](const Node& node) { return node.isInteractive() && nodeLabel(node) == target; });
}

bool performTap(const Node& root, std::string_view target) {
  const Node* node = actionableTarget(root, target, &Node::onTap);
  if (!node) return false;
  // A copy, so an action that rebuilds the tree does not destroy what is running.
  const std::function<void()> action = node->onTap;
  action();
  return true;
}

bool performType(const Node& root, std::string_view target, std::string_view text) {
  const Node* node = actionableTarget(root, target, &Node::onText);
  if (!node) return false;
  const std::function<void(std::string)> action = node->onText;
  action(limitToCodePoints(text, node->maxLength));
  return true;
}

bool performPage(const Node& root, std::string_view target, int index) {
  const Node* node = actionableTarget(root, target, &Node::onPage);
  if (!node || index < 0 || static_cast<std::size_t>(index) >= node->children.size()) return false;
  const std::function<void(int)> action = node->onPage;
  action(index);
  return true;
}

std::vector<std::string> visibleTexts(const Node& root) {
  std::vector<std::string> texts;
  auto collect = [&](const Node& node, bool) {
    if (const std::string_view label = nodeLabel(node); !label.empty()) texts.emplace_back(label);
    return false;
  };
  walkDrawnNodes(root, true, collect);
  return texts;
}

std::string_view nodeLabel(const Node& node) noexcept {
  switch (node.kind) {
    case Kind::text:
    case Kind::button:
    case Kind::choiceRow: return node.text;
    default: return {};
  }
}

std::string limitToCodePoints(std::string_view text, std::optional<int> maxLength) {
  if (!maxLength) return std::string(text);
  if (*maxLength < 1) return {};
  int started = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool startsCodePoint = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (startsCodePoint && ++started > *maxLength) return std::string(text.substr(0, i));
  }
  return std::string(text);
}

}  // namespace tarnwell::ui
