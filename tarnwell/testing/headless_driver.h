// File: tarnwell/testing/headless_driver.h
//
// HeadlessDriver works a view's node tree the way a user would, with no toolkit and no screen:
// find a node, tap it, type into it, turn a pager, and read the texts on screen. Built over a
// function that builds the view from its current state, it reads a fresh tree for every call,
// so after an action it sees what the action changed.
//
//   tarnwell::testing::HeadlessDriver screen([&] { return view.body(); });
//   EXPECT_TRUE(screen.tap("@symbol:star#4"));                 // the fourth star
//   EXPECT_TRUE(screen.type("@placeholder:Tell us more", "Fast and friendly"));
//   EXPECT_FALSE(screen.tap("Send"));                          // still disabled? false
//   EXPECT_EQ(screen.visibleTexts(), (std::vector<std::string>{"Thanks!", "Close"}));
//
// Targets and the rules for actions are those of ui/node_query.h: an exact id first, then
// "@symbol:NAME#N", "@placeholder:TEXT" or an interactive node's label; a target that names
// nothing, a disabled node or a node without that action answers false and calls nothing. No
// call throws on a bad target. Actions run on the calling thread, inside the call. One thread at
// a time; an action may call the driver again.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/ui/node.h>
#include <tarnwell/ui/node_query.h>

namespace tarnwell::testing {

class HeadlessDriver {
 public:
  // A tree that stays as it is: its actions change only the host's state.
  explicit HeadlessDriver(ui::Node tree);
  // Builds the tree afresh for every call.
  explicit HeadlessDriver(std::function<ui::Node()> build);

  // A copy of the node the target names, as currently drawn.
  std::optional<ui::Node> find(std::string_view target);
  bool tap(std::string_view target);
  // Replaces the field's text with `text`, cut to the field's maxLength in code points.
  bool type(std::string_view target, std::string_view text);
  // Turns the pager to `index`, counting from 0.
  bool page(std::string_view target, int index);
  std::vector<std::string> visibleTexts();
  // The whole tree as currently drawn.
  ui::Node tree();

 private:
  ui::Node current() const;

  std::function<ui::Node()> build_;
};

}  // namespace tarnwell::testing
