// The rule language's operators on operands from the input, a JSON array
// [operator, actual, expected] in which a missing element is an absent operand. Whatever the
// operands: an operator's name ignores case, an unknown name never holds, "not_equals" is
// exactly the negation of "equals", the four comparisons agree with one another, and a value
// equals, is "in" and (as text) contains itself.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/targeting/detail/rule_evaluation.h"

namespace tarnwell {
namespace {

constexpr std::string_view kOperators[] = {"equals",       "not_equals",          "contains",  "in",
                                           "greater_than", "greater_than_equals", "less_than", "less_than_equals"};

// `name` with its ASCII letters upper-cased: all of them, or every other one.
std::string upperAscii(std::string_view name, bool everyOther) {
  std::string result(name);
  for (std::size_t i = 0; i < result.size(); ++i) {
    if ((!everyOther || i % 2 == 0) && result[i] >= 'a' && result[i] <= 'z') {
      result[i] = static_cast<char>(result[i] - 'a' + 'A');
    }
  }
  return result;
}

void checkOperators(std::string_view op, const std::optional<JSONValue>& actual,
                    const std::optional<JSONValue>& expected) {
  const auto holds = [&](std::string_view name) { return detail::evaluateOperator(actual, name, expected); };
  const bool verdict = holds(op);
  const std::string lower = detail::toLowerAscii(op);
  for (const std::string& spelling : {lower, upperAscii(op, false), upperAscii(lower, true)}) {
    if (holds(spelling) != verdict) fuzz::fail("an operator's verdict depends on its case: " + spelling);
  }
  const bool known = std::ranges::any_of(kOperators, [&](std::string_view name) { return lower == name; });
  fuzz::require(known || !verdict, "an unknown operator held");

  fuzz::require(holds("not_equals") == !holds("equals"), "not_equals is not the negation of equals");
  const bool greater = holds("greater_than"), atLeast = holds("greater_than_equals");
  const bool less = holds("less_than"), atMost = holds("less_than_equals");
  fuzz::require((!greater || atLeast) && (!less || atMost), "a strict comparison held without its loose one");
  fuzz::require(!(greater && atMost) && !(less && atLeast), "opposite comparisons held together");

  fuzz::require(detail::evaluateOperator(actual, "equals", actual), "a value does not equal itself");
  fuzz::require(detail::evaluateOperator(actual, "in", JSONArray{actual.value_or(JSONValue())}),
                "a value is not in a list of itself");
  const bool hasText =
      actual && (actual->isNumber() || actual->isBool() || (actual->isString() && !actual->asString()->empty()));
  fuzz::require(!hasText || detail::evaluateOperator(actual, "contains", actual), "a text does not contain itself");
  fuzz::require(!actual || !actual->isNumber() || detail::evaluateOperator(actual, "less_than_equals", actual),
                "a number is not at most itself");
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  JSONValue input;
  try {
    input = JSONValue::decode(fuzz::asText(data, size));
  } catch (const DecodingError&) {
    return 0;
  }
  const JSONArray* parts = input.asArray();
  if (parts == nullptr || parts->empty() || !parts->front().isString()) return 0;
  const auto operand = [&](std::size_t i) {
    return i < parts->size() ? std::optional<JSONValue>((*parts)[i]) : std::nullopt;
  };
  checkOperators(parts->front().asString()->view(), operand(1), operand(2));
  return 0;
}
