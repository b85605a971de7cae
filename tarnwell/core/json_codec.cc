// JSON text to JSONValue and back. Parsing goes through simdjson's DOM; the tree is then copied
// into JSONValue in one pass with every container sized up front.
#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "tarnwell/core/coding_error.h"
#include "tarnwell/core/json_value.h"

namespace tarnwell {
namespace detail {

class JSONParser {
 public:
  // Writes the element straight into `out`, so no temporary tree is built and torn down.
  static void fill(JSONValue& out, simdjson::dom::element element) {
    using simdjson::dom::element_type;
    switch (element.type()) {
      case element_type::NULL_VALUE: out.value_.emplace<std::nullptr_t>(); return;
      case element_type::BOOL: out.value_.emplace<bool>(element.get_bool().value_unsafe()); return;
      case element_type::INT64:
        out.value_.emplace<double>(static_cast<double>(element.get_int64().value_unsafe()));
        return;
      case element_type::UINT64:
        out.value_.emplace<double>(static_cast<double>(element.get_uint64().value_unsafe()));
        return;
      case element_type::DOUBLE: out.value_.emplace<double>(element.get_double().value_unsafe()); return;
      case element_type::STRING: out.value_.emplace<JSONString>(element.get_string().value_unsafe()); return;
      case element_type::ARRAY: {
        const simdjson::dom::array source = element.get_array().value_unsafe();
        JSONArray& array = out.value_.emplace<JSONArray>();
        array.reserve(source.size());
        for (simdjson::dom::element child : source) {
          fill(array.emplace_back(), child);
        }
        return;
      }
      case element_type::OBJECT: {
        const simdjson::dom::object source = element.get_object().value_unsafe();
        auto& members = out.value_.emplace<JSONObject>().members_;
        members.reserve(source.size());
        if (source.size() <= kScannedObjectSize) {
          fillScanned(members, source);
        } else {
          fillHashed(members, source);
        }
        return;
      }
    }
    throw DecodingError("Unsupported JSON value");
  }

 private:
  using Members = std::vector<JSONObject::Member>;

  // Objects up to this size find duplicate keys by scanning; larger ones through a hash index,
  // so decoding stays linear in the members however many distinct keys a hostile reply sends.
  static constexpr std::size_t kScannedObjectSize = 32;

  static JSONValue& append(Members& members, std::string_view key) {
    return members.emplace_back(std::piecewise_construct, std::forward_as_tuple(key), std::tuple<>()).second;
  }

  static void fillScanned(Members& members, simdjson::dom::object source) {
    for (simdjson::dom::key_value_pair field : source) {
      auto existing = std::find_if(members.begin(), members.end(), [&](const auto& m) { return m.first == field.key; });
      if (existing != members.end()) {
        // The last of duplicate keys wins, as with the platform's JSON reader.
        fill(existing->second, field.value);
      } else {
        fill(append(members, field.key), field.value);
      }
    }
  }

  static void fillHashed(Members& members, simdjson::dom::object source) {
    // Open addressing over member indices, at most half full.
    std::size_t capacity = 64;
    while (capacity < 2 * source.size()) capacity *= 2;
    constexpr std::uint32_t kEmpty = UINT32_MAX;
    std::vector<std::uint32_t> slots(capacity, kEmpty);
    const std::hash<std::string_view> hash;
    for (simdjson::dom::key_value_pair field : source) {
      std::size_t slot = hash(field.key) & (capacity - 1);
      while (slots[slot] != kEmpty && members[slots[slot]].first != field.key) {
        slot = (slot + 1) & (capacity - 1);
      }
      if (slots[slot] != kEmpty) {
        fill(members[slots[slot]].second, field.value);  // the last of duplicate keys wins
      } else {
        slots[slot] = static_cast<std::uint32_t>(members.size());
        fill(append(members, field.key), field.value);
      }
    }
  }
};

}  // namespace detail

namespace {

// Parsers keep their buffers between documents; one per thread avoids both locking and
// re-allocation. Documents larger than this are parsed with a one-off parser so a single huge
// reply does not pin its memory for the life of the thread.
constexpr std::size_t kRetainedParserCapacity = 1 << 20;

bool isNumberByte(char c) noexcept {
  return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// The document with every integer literal of 19 digits or more given an exponent ("e0"), so
// that the parser reads it as the nearest double instead of rejecting what does not fit 64
// bits; empty when there is no such literal. Other backends (JavaScript's among them) write
// whole numbers that large in full.
std::string widenLongIntegers(std::string_view json) {
  std::string widened;
  std::size_t copied = 0;
  bool inString = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == '"') {
      inString = true;
      continue;
    }
    if (c != '-' && (c < '0' || c > '9')) {
      continue;
    }
    std::size_t end = i;
    while (end < json.size() && isNumberByte(json[end])) ++end;
    const std::string_view literal = json.substr(i, end - i);
    const std::size_t digits = literal.size() - (c == '-' ? 1 : 0);
    if (digits >= 19 && literal.find_first_not_of("-0123456789") == std::string_view::npos) {
      widened.append(json, copied, end - copied).append("e0");
      copied = end;
    }
    i = end - 1;
  }
  if (copied == 0) {
    return {};
  }
  widened.append(json, copied, json.size() - copied);
  return widened;
}

simdjson::error_code parseDocument(simdjson::dom::parser& parser, std::string_view json, simdjson::dom::element& root) {
  if (json.data() == nullptr) {
    json = std::string_view("", 0);  // an empty stored value has no bytes at all; the parser copies from them
  }
  if (parser.capacity() < json.size()) {
    if (auto error = parser.allocate(json.size(), JSONValue::maxDecodingDepth)) {
      return error;
    }
  }
  return parser.parse(json.data(), json.size(), true).get(root);
}

// The parsed tree lives in the parser (strings included), so `json` may go once this returns.
simdjson::dom::element parseInto(simdjson::dom::parser& parser, std::string_view json) {
  simdjson::dom::element root;
  auto error = parseDocument(parser, json, root);
  if (error == simdjson::NUMBER_ERROR) {
    const std::string widened = widenLongIntegers(json);
    if (!widened.empty()) {
      error = parseDocument(parser, widened, root);
    }
  }
  if (error) {
    throw DecodingError(std::string("Unable to parse JSON: ") + simdjson::error_message(error));
  }
  return root;
}

}  // namespace

JSONValue JSONValue::decode(std::string_view json) {
  if (json.size() > kRetainedParserCapacity) {
    simdjson::dom::parser parser(json.size());
    JSONValue value;
    detail::JSONParser::fill(value, parseInto(parser, json));
    return value;
  }
  thread_local simdjson::dom::parser parser;
  JSONValue value;
  detail::JSONParser::fill(value, parseInto(parser, json));
  return value;
}

// ---- Encoding ----------------------------------------------------------------------------

namespace {

constexpr char kHex[] = "0123456789abcdef";

// Appends `text` with invalid UTF-8 sequences replaced by U+FFFD.
void appendRepairedUtf8(std::string& out, std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = lead < 0x80           ? 1
                         : (lead >> 5) == 0x6  ? 2
                         : (lead >> 4) == 0xE  ? 3
                         : (lead >> 3) == 0x1E ? 4
                                               : 0;
    if (length > 1 && i + length <= text.size() && simdjson::validate_utf8(text.data() + i, length)) {
      out.append(text, i, length);
      i += length;
    } else if (length == 1) {
      out.push_back(text[i++]);
    } else {
      out.append("\xEF\xBF\xBD");
      ++i;
    }
  }
}

// True when any of the eight bytes needs attention: a control character, '"', '\\', or a byte
// of a multi-byte UTF-8 sequence (which must be checked for validity).
inline bool wordNeedsCare(std::uint64_t word) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101ULL;
  constexpr std::uint64_t highs = 0x8080808080808080ULL;
  auto hasZeroByte = [](std::uint64_t v) { return (v - ones) & ~v & highs; };
  const std::uint64_t control = (word - 0x2020202020202020ULL) & ~word & highs;
  return (control | hasZeroByte(word ^ 0x2222222222222222ULL) | hasZeroByte(word ^ 0x5C5C5C5C5C5C5C5CULL) |
          (word & highs)) != 0;
}

void appendEscapedString(std::string& out, std::string_view text) {
  // Fast path: scan eight bytes at a time; most texts are plain ASCII with nothing to escape.
  std::size_t clean = 0;
  while (clean + 8 <= text.size()) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + clean, 8);
    if (wordNeedsCare(word)) break;
    clean += 8;
  }
  std::string repaired;
  bool checkedUtf8 = false;
  out.push_back('"');
  out.append(text.data(), clean);
  std::size_t runStart = clean;
  for (std::size_t i = clean; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x80 && !checkedUtf8) {
      checkedUtf8 = true;
      if (!simdjson::validate_utf8(text.data(), text.size())) {
        // Start over on a repaired copy; it is valid, so this branch is not taken again.
        out.append(text, runStart, i - runStart);
        appendRepairedUtf8(repaired, text.substr(i));
        text = repaired;
        i = static_cast<std::size_t>(-1);
        runStart = 0;
        continue;
      }
    }
    if (c >= 0x20 && c != '"' && c != '\\') {
      continue;
    }
    out.append(text, runStart, i - runStart);
    runStart = i + 1;
    switch (c) {
      case '"': out.append("\\\""); break;
      case '\\': out.append("\\\\"); break;
      case '\n': out.append("\\n"); break;
      case '\r': out.append("\\r"); break;
      case '\t': out.append("\\t"); break;
      case '\b': out.append("\\b"); break;
      case '\f': out.append("\\f"); break;
      default: {
        const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
        out.append(escape, sizeof escape);
      }
    }
  }
  out.append(text, runStart, text.size() - runStart);
  out.push_back('"');
}

void appendNumber(std::string& out, double number) {
  if (!std::isfinite(number)) {
    throw EncodingError("Unable to encode the non-finite number " + shortestNumberText(number) + " in JSON");
  }
  char buffer[32];
  std::to_chars_result result;
  // Whole numbers that a double holds exactly are written without a fraction or exponent; from
  // 2^63 on, where a whole literal would no longer fit a 64-bit integer, always with one, so
  // that every reader (this one included) takes it as the same double.
  if (std::trunc(number) == number && std::fabs(number) < 9007199254740992.0) {
    result = std::to_chars(buffer, buffer + sizeof buffer, static_cast<std::int64_t>(number));
  } else if (std::fabs(number) >= 9223372036854775808.0) {
    result = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::scientific);
  } else {
    result = std::to_chars(buffer, buffer + sizeof buffer, number);
  }
  out.append(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

}  // namespace

void JSONValue::encodeTo(std::string& out) const {
  switch (kind()) {
    case Kind::string: appendEscapedString(out, asString()->view()); return;
    case Kind::number: appendNumber(out, *asNumber()); return;
    case Kind::boolean: out.append(*asBool() ? "true" : "false"); return;
    case Kind::null: out.append("null"); return;
    case Kind::array: {
      out.push_back('[');
      bool first = true;
      for (const JSONValue& element : *asArray()) {
        if (!first) out.push_back(',');
        first = false;
        element.encodeTo(out);
      }
      out.push_back(']');
      return;
    }
    case Kind::object: {
      out.push_back('{');
      bool first = true;
      for (const auto& [key, member] : *asObject()) {
        if (!first) out.push_back(',');
        first = false;
        appendEscapedString(out, key);
        out.push_back(':');
        member.encodeTo(out);
      }
      out.push_back('}');
      return;
    }
  }
}

std::string JSONValue::encode() const {
  std::string out;
  encodeTo(out);
  return out;
}

}  // namespace tarnwell
