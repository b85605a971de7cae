#include <tarnwell/ui/node_id.h>

#include <utility>

namespace tarnwell::ui {
namespace {

// Keeps the separator unambiguous: "a/b" + "c" and "a" + "b/c" stay apart.
void appendIdSegment(std::string& out, std::string_view segment) {
  for (const char c : segment) {
    if (c == '/') {
      out += "%2F";
    } else if (c == '%') {
      out += "%25";
    } else {
      out += c;
    }
  }
}

}  // namespace

NodeId::NodeId(std::string_view scope, std::string_view itemId) {
  appendIdSegment(text_, scope);
  text_ += '/';
  appendIdSegment(text_, itemId);
}

NodeId NodeId::appended(std::string_view segment) const {
  std::string text = text_;
  text += '/';
  appendIdSegment(text, segment);
  return NodeId(std::move(text));
}

NodeId NodeId::question(std::string_view key) const { return appended("q").appended(key); }

NodeId NodeId::part(std::string_view role) const { return appended(role); }

NodeId NodeId::part(std::string_view role, int index) const { return appended(role).appended(std::to_string(index)); }

}  // namespace tarnwell::ui
