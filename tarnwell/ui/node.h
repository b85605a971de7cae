// File: tarnwell/ui/node.h
//
// Node is one element of a view's tree: the small declarative vocabulary that every survey,
// announcement and card view builds and that any toolkit (the host's own, a test, the
// command-line host) can draw. Stacks hold children; texts carry a role and a colour; symbols
// are named system symbols; buttons, text fields, choice rows and pagers carry a stable id and
// the action a press, a keystroke or a swipe performs.
//
//   ui::NodeId survey("survey", "s_42");
//   ui::NodeId rate = survey.question("rate");
//   ui::Node view = ui::vstack({
//       ui::text("How did we do?", ui::TextRole::title),
//       ui::hstack({ui::symbolButton(rate.part("star", 1), "star", [&] { model.rate(1); }),
//                   ui::symbolButton(rate.part("star", 2), "star", [&] { model.rate(2); })}),
//       ui::button(survey.part("submit"), "Send", [&] { model.submit(); }).withEnabled(model.rated()),
//   }, 12);
//   std::string json = view.toJSON().encode();   // {"kind":"vstack","id":null,"children":[...]}
//
// Nodes are plain values: copying a tree copies its actions, and building, copying or printing
// a tree never performs one. Only a renderer (or ui::performTap and its siblings) calls them.
// A tree may be read from several threads at once but not changed while read; the actions run
// on the thread that performs them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tarnwell/core/color.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/export.h>
#include <tarnwell/ui/node_id.h>

namespace tarnwell::ui {

enum class Kind {
  vstack,      // children top to bottom
  hstack,      // children leading to trailing
  zstack,      // children layered, the first at the back
  text,        // words in a role and a colour
  symbol,      // a system symbol by name ("star.fill", "xmark")
  image,       // a remote image; its symbol is the fallback drawn until (or unless) it loads
  button,      // a label and/or a symbol that performs onTap
  textField,   // one line of input
  textEditor,  // several lines of input
  choiceRow,   // one answer of a choice question; selected or not
  pager,       // pages as children, one shown at a time
  progress,    // a line filled to a fraction
  spacer,      // flexible empty room
};

enum class TextRole { title, subtitle, body, caption, eyebrow };

// How a choice row marks itself: a radio dot, a check box, or an emoji face as its label.
enum class ChoiceStyle { single, multiple, emoji };

// A spring as the overlay animates with it: how long one swing takes in seconds, how much of
// its bounce is damped (1 settles without overshoot) and how long a new target blends in.
struct Spring {
  double response = 0;
  double dampingFraction = 0;
  double blendDuration = 0;

  bool operator==(const Spring&) const = default;
};

enum class TransitionEffect { opacity, moveFromBottom, moveFromTop, scale, scaleWithOpacity };

// How a node enters and leaves the screen; no spring means the toolkit's default timing.
struct Transition {
  TransitionEffect effect = TransitionEffect::opacity;
  std::optional<Spring> spring;
  // The value whose change animates the node: a renderer animates a leave and an enter when it
  // changes, and nothing while it stays (absent stays absent).
  std::optional<std::string> key;

  bool operator==(const Transition&) const = default;
};

struct TARNWELL_API Node {
  Kind kind = Kind::vstack;
  // Stable across processes (see ui/node_id.h); present on every node that takes an action.
  std::optional<std::string> id;
  // A text's words, a button's or choice's label, a field's current text.
  std::string text;
  // A symbol's name, a button's icon, an image's fallback.
  std::string symbol;
  std::string placeholder;
  std::optional<int> maxLength;  // in code points; fields only
  bool enabled = true;
  bool selected = false;  // choice rows
  int selectedIndex = 0;  // pagers, counting from 0
  bool showsIndicators = true;
  // Pagers: whether the user may turn pages by hand, and after how many seconds a renderer turns
  // to the next page by itself (after the last comes the first); absent turns none.
  bool allowsSwipe = true;
  std::optional<double> autoAdvanceSeconds;
  TextRole role = TextRole::body;
  std::optional<Color> color;  // foreground: a text's, a symbol's, a button's tint
  std::string imageURL;
  ChoiceStyle choiceStyle = ChoiceStyle::single;
  double progress = 0;  // from 0 to 1

  // Layout and appearance, in points; a renderer applies what it can.
  double spacing = 0;
  double padding = 0;
  double cornerRadius = 0;
  std::optional<Color> background;
  double opacity = 1;
  std::optional<Transition> transition;

  std::vector<Node> children;

  std::function<void()> onTap;
  std::function<void(std::string)> onText;
  std::function<void(int)> onPage;

  // Takes an action of any sort, so a renderer, a test or a host can press, type or page it.
  bool isInteractive() const noexcept { return onTap || onText || onPage; }

  // The form a command-line host prints: "kind" and "id" always (the id null on a node that
  // takes no action), then of "text", "symbol", "placeholder", "maxLength", "enabled",
  // "selected", "selectedIndex", "role", "color" and "children" those that apply to the kind,
  // in that order; a key that applies but has no value is null. Colours read "#RRGGBBAA".
  JSONValue toJSON() const;

  // Modifiers for declarative chains: ui::text("Hi").withColor(accent).withPadding(8).
  Node withEnabled(bool value) && {
    enabled = value;
    return std::move(*this);
  }
  Node withColor(std::optional<Color> value) && {
    color = value;
    return std::move(*this);
  }
  Node withPadding(double value) && {
    padding = value;
    return std::move(*this);
  }
  Node withCornerRadius(double value) && {
    cornerRadius = value;
    return std::move(*this);
  }
  Node withBackground(std::optional<Color> value) && {
    background = value;
    return std::move(*this);
  }
  Node withOpacity(double value) && {
    opacity = value;
    return std::move(*this);
  }
  Node withPaging(bool swipe, std::optional<double> autoAdvance) && {
    allowsSwipe = swipe;
    autoAdvanceSeconds = autoAdvance;
    return std::move(*this);
  }
  Node withTransition(Transition value) && {
    transition = value;
    return std::move(*this);
  }
};

// The words the JSON form uses: "vstack", "textField", "title", ...
TARNWELL_API std::string_view kindName(Kind kind) noexcept;
TARNWELL_API std::string_view textRoleName(TextRole role) noexcept;
// "#RRGGBBAA" in upper-case hexadecimal, each component rounded from 0...1 to 0...255 (values
// outside are clamped). Alpha comes last, unlike the "#AARRGGBB" that documents carry.
TARNWELL_API std::string colorText(const Color& color);

// Builders. None of them calls the action it is handed.
TARNWELL_API Node vstack(std::vector<Node> children, double spacing = 0);
TARNWELL_API Node hstack(std::vector<Node> children, double spacing = 0);
TARNWELL_API Node zstack(std::vector<Node> children);
TARNWELL_API Node text(std::string words, TextRole role = TextRole::body, std::optional<Color> color = std::nullopt);
TARNWELL_API Node symbol(std::string name, std::optional<Color> color = std::nullopt);
TARNWELL_API Node image(std::string url, std::string fallbackSymbol);
TARNWELL_API Node button(std::string id, std::string label, std::function<void()> onTap);
// A button drawn as a symbol alone: a star of a rating, a thumb, the close cross.
TARNWELL_API Node symbolButton(std::string id, std::string symbol, std::function<void()> onTap);
TARNWELL_API Node textField(std::string id, std::string currentText, std::string placeholder,
                            std::optional<int> maxLength, std::function<void(std::string)> onText);
TARNWELL_API Node textEditor(std::string id, std::string currentText, std::string placeholder,
                             std::optional<int> maxLength, std::function<void(std::string)> onText);
TARNWELL_API Node choiceRow(std::string id, std::string label, ChoiceStyle style, bool selected,
                            std::function<void()> onTap);
TARNWELL_API Node pager(std::string id, std::vector<Node> pages, int selectedIndex, std::function<void(int)> onPage,
                        bool showsIndicators = true);
TARNWELL_API Node progress(double fraction, std::optional<Color> color = std::nullopt);
TARNWELL_API Node spacer();

}  // namespace tarnwell::ui
