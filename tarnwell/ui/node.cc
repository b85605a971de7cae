#include <tarnwell/ui/node.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarnwell::ui {
namespace {

bool holdsChildren(Kind kind) noexcept {
  return kind == Kind::vstack || kind == Kind::hstack || kind == Kind::zstack || kind == Kind::pager;
}

bool isField(Kind kind) noexcept { return kind == Kind::textField || kind == Kind::textEditor; }

bool showsWords(Kind kind) noexcept { return kind == Kind::text || kind == Kind::button || kind == Kind::choiceRow; }

bool canBeDisabled(Kind kind) noexcept {
  return kind == Kind::button || isField(kind) || kind == Kind::choiceRow || kind == Kind::pager;
}

bool takesColor(Kind kind) noexcept {
  return kind == Kind::text || kind == Kind::symbol || kind == Kind::button || kind == Kind::progress;
}

// Absent text prints as null: an icon-only button has no label, a field no placeholder.
JSONValue textOrNull(const std::string& words) { return words.empty() ? JSONValue() : JSONValue(words); }

int colorByte(double component) noexcept {
  if (!(component > 0)) return 0;  // also NaN
  return static_cast<int>(std::lround(std::min(component, 1.0) * 255.0));
}

Node leaf(Kind kind) {
  Node node;
  node.kind = kind;
  return node;
}

Node stack(Kind kind, std::vector<Node> children, double spacing) {
  Node node = leaf(kind);
  node.children = std::move(children);
  node.spacing = spacing;
  return node;
}

Node field(Kind kind, std::string id, std::string currentText, std::string placeholder, std::optional<int> maxLength,
           std::function<void(std::string)> onText) {
  Node node = leaf(kind);
  node.id = std::move(id);
  node.text = std::move(currentText);
  node.placeholder = std::move(placeholder);
  node.maxLength = maxLength;
  node.onText = std::move(onText);
  return node;
}

}  // namespace

JSONValue Node::toJSON() const {
  JSONObject out;
  out.set("kind", kindName(kind));
  out.set("id", isInteractive() && id ? JSONValue(*id) : JSONValue());
  if (isField(kind)) {
    out.set("text", text);
  } else if (showsWords(kind)) {
    out.set("text", kind == Kind::button ? textOrNull(text) : JSONValue(text));
  }
  if (kind == Kind::symbol || kind == Kind::image || kind == Kind::button) out.set("symbol", textOrNull(symbol));
  if (isField(kind)) {
    out.set("placeholder", textOrNull(placeholder));
    out.set("maxLength", maxLength ? JSONValue(*maxLength) : JSONValue());
  }
  if (canBeDisabled(kind)) out.set("enabled", enabled);
  if (kind == Kind::choiceRow) out.set("selected", selected);
  if (kind == Kind::pager) out.set("selectedIndex", selectedIndex);
  if (kind == Kind::text) out.set("role", textRoleName(role));
  if (takesColor(kind)) out.set("color", color ? JSONValue(colorText(*color)) : JSONValue());
  if (holdsChildren(kind)) {
    JSONArray list;
    list.reserve(children.size());
    for (const Node& child : children) list.push_back(child.toJSON());
    out.set("children", std::move(list));
  }
  return out;
}

std::string_view kindName(Kind kind) noexcept {
  switch (kind) {
    case Kind::vstack: return "vstack";
    case Kind::hstack: return "hstack";
    case Kind::zstack: return "zstack";
    case Kind::text: return "text";
    case Kind::symbol: return "symbol";
    case Kind::image: return "image";
    case Kind::button: return "button";
    case Kind::textField: return "textField";
    case Kind::textEditor: return "textEditor";
    case Kind::choiceRow: return "choiceRow";
    case Kind::pager: return "pager";
    case Kind::progress: return "progress";
    case Kind::spacer: return "spacer";
  }
  return "spacer";
}

std::string_view textRoleName(TextRole role) noexcept {
  switch (role) {
    case TextRole::title: return "title";
    case TextRole::subtitle: return "subtitle";
    case TextRole::body: return "body";
    case TextRole::caption: return "caption";
    case TextRole::eyebrow: return "eyebrow";
  }
  return "body";
}

std::string colorText(const Color& color) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out = "#";
  for (const double component : {color.red, color.green, color.blue, color.alpha}) {
    const int byte = colorByte(component);
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0xF];
  }
  return out;
}

Node vstack(std::vector<Node> children, double spacing) { return stack(Kind::vstack, std::move(children), spacing); }

Node hstack(std::vector<Node> children, double spacing) { return stack(Kind::hstack, std::move(children), spacing); }

Node zstack(std::vector<Node> children) { return stack(Kind::zstack, std::move(children), 0); }

Node text(std::string words, TextRole role, std::optional<Color> color) {
  Node node = leaf(Kind::text);
  node.text = std::move(words);
  node.role = role;
  node.color = color;
  return node;
}

Node symbol(std::string name, std::optional<Color> color) {
  Node node = leaf(Kind::symbol);
  node.symbol = std::move(name);
  node.color = color;
  return node;
}

Node image(std::string url, std::string fallbackSymbol) {
  Node node = leaf(Kind::image);
  node.imageURL = std::move(url);
  node.symbol = std::move(fallbackSymbol);
  return node;
}

Node button(std::string id, std::string label, std::function<void()> onTap) {
  Node node = leaf(Kind::button);
  node.id = std::move(id);
  node.text = std::move(label);
  node.onTap = std::move(onTap);
  return node;
}

Node symbolButton(std::string id, std::string symbol, std::function<void()> onTap) {
  Node node = leaf(Kind::button);
  node.id = std::move(id);
  node.symbol = std::move(symbol);
  node.onTap = std::move(onTap);
  return node;
}

Node textField(std::string id, std::string currentText, std::string placeholder, std::optional<int> maxLength,
               std::function<void(std::string)> onText) {
  return field(Kind::textField, std::move(id), std::move(currentText), std::move(placeholder), maxLength,
               std::move(onText));
}

Node textEditor(std::string id, std::string currentText, std::string placeholder, std::optional<int> maxLength,
                std::function<void(std::string)> onText) {
  return field(Kind::textEditor, std::move(id), std::move(currentText), std::move(placeholder), maxLength,
               std::move(onText));
}

Node choiceRow(std::string id, std::string label, ChoiceStyle style, bool selected, std::function<void()> onTap) {
  Node node = leaf(Kind::choiceRow);
  node.id = std::move(id);
  node.text = std::move(label);
  node.choiceStyle = style;
  node.selected = selected;
  node.onTap = std::move(onTap);
  return node;
}

Node pager(std::string id, std::vector<Node> pages, int selectedIndex, std::function<void(int)> onPage,
           bool showsIndicators) {
  Node node = stack(Kind::pager, std::move(pages), 0);
  node.id = std::move(id);
  node.selectedIndex = selectedIndex;
  node.onPage = std::move(onPage);
  node.showsIndicators = showsIndicators;
  return node;
}

Node progress(double fraction, std::optional<Color> color) {
  Node node = leaf(Kind::progress);
  node.progress = fraction;
  node.color = color;
  return node;
}

Node spacer() { return leaf(Kind::spacer); }

}  // namespace tarnwell::ui
