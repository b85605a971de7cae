// File: tarnwell/ui/node_id.h
//
// NodeId builds the id of an interactive node from what the node stands for, so the same view
// of the same item gives the same ids in every process and every run: the item's kind and id,
// the question's key, the node's role and its index within its parent. A test, a script or a
// host's toolkit can then name a node once and find it again.
//
//   ui::NodeId question = ui::NodeId("survey", "s_42").question("nps");
//   std::string third = question.part("star", 3);        // "survey/s_42/q/nps/star/3"
//   std::string send = ui::NodeId("survey", "s_42").part("submit");   // "survey/s_42/submit"
//
// Segments are joined with '/'; a '/' or '%' inside a segment is written %2F or %25, so two
// different paths never give one id. Nothing here counts or draws at random. Plain value.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <tarnwell/export.h>

namespace tarnwell::ui {

class TARNWELL_API NodeId {
 public:
  // "<scope>/<itemId>": the item the view draws, as "survey/s_42" or "announcement/a_7".
  NodeId(std::string_view scope, std::string_view itemId);

  // "<this>/q/<key>": a question of the item.
  NodeId question(std::string_view key) const;
  // "<this>/<role>": a node with one role in its parent ("submit", "close", "comment").
  NodeId part(std::string_view role) const;
  // "<this>/<role>/<index>": one of several nodes of a role ("star/3", "option/0").
  NodeId part(std::string_view role, int index) const;

  const std::string& str() const noexcept { return text_; }
  operator std::string() const { return text_; }

  bool operator==(const NodeId&) const = default;

 private:
  explicit NodeId(std::string text) : text_(std::move(text)) {}
  NodeId appended(std::string_view segment) const;

  std::string text_;
};

}  // namespace tarnwell::ui
