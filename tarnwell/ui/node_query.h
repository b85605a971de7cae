// File: tarnwell/ui/node_query.h
//
// Reading and operating a node tree the way a user would see it: find a node by a target, press
// it, type into it, turn its page, and read the texts on screen. The headless test driver and
// the command-line host both work through these, so a script and a test name nodes alike.
//
//   ui::Node view = buildSurveyView(state);
//   ui::performTap(view, "@symbol:star.fill#3");                 // the third filled star
//   ui::performType(view, "@placeholder:Tell us more", "Great app");
//   std::vector<std::string> shown = ui::visibleTexts(view);     // {"How did we do?", "Send"}
//
// A target is, in this order of preference:
// - an id, matched exactly ("survey/s_42/q/nps/star/3");
// - "@symbol:NAME#N": the N-th node whose symbol is NAME, counting from 1 ("#N" left out is
//   "#1"). A button's icon and an image's fallback are its symbol;
// - "@placeholder:TEXT": the first field whose placeholder is TEXT;
// - any other text: the first interactive node whose label (a text's words, a button's or a
//   choice's label) equals it exactly.
// Only what is drawn is searched, in drawing order: a node, then its children in order; of a
// pager only its selected page.
//
// A node is enabled when it and every node around it are enabled. An action on a target that
// names nothing, names a disabled node or a node without that action answers false and calls
// nothing; nothing here throws on a bad target. Actions run on the calling thread; the tree is
// only read, so the caller rebuilds it to see what the action changed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/export.h>
#include <tarnwell/ui/node.h>

namespace tarnwell::ui {

struct NodeMatch {
  const Node* node = nullptr;  // into the tree searched; valid while it lives unchanged
  bool enabled = false;        // the node and every node around it are enabled

  explicit operator bool() const noexcept { return node != nullptr; }
};

TARNWELL_API NodeMatch findTarget(const Node& root, std::string_view target);

// Calls the node's onTap.
TARNWELL_API bool performTap(const Node& root, std::string_view target);
// Calls the field's onText with `text` in place of what it held, cut to its maxLength.
TARNWELL_API bool performType(const Node& root, std::string_view target, std::string_view text);
// Calls the pager's onPage; `index` counts from 0 and must name one of its pages.
TARNWELL_API bool performPage(const Node& root, std::string_view target, int index);

// The texts a reader sees, top to bottom: text nodes' words and button and choice labels, each
// as drawn, empty ones left out. Not placeholders, not a field's typed text, not symbol names;
// of a pager only its selected page.
TARNWELL_API std::vector<std::string> visibleTexts(const Node& root);

// What a target by label compares with: a text's words, a button's or choice's label; empty for
// every other kind.
TARNWELL_API std::string_view nodeLabel(const Node& node) noexcept;

// The first `maxLength` code points of UTF-8 text (an emoji with modifiers counts as several);
// a limit below 1 leaves nothing, no limit leaves the text whole. Never splits a code point.
TARNWELL_API std::string limitToCodePoints(std::string_view text, std::optional<int> maxLength);

}  // namespace tarnwell::ui
