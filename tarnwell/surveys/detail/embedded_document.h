// File: tarnwell/surveys/detail/embedded_document.h
//
// Backend content records (surveys, announcements, live cards) keep nested documents as JSON
// text. Reading one is all or nothing and quiet: a document that is missing, empty or does not
// fit its record reads as absent, because the content must still be usable without it.
#pragma once

#include <optional>
#include <string>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/json_value.h"

namespace tarnwell {

// `Document::decode(const JSONValue&)` applied to the parsed text, or absent on any failure.
template <typename Document>
std::optional<Document> decodeEmbeddedDocument(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  try {
    return Document::decode(JSONValue::decode(*text));
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

}  // namespace tarnwell
