// A remote notification's payload as a host hands it over: any JSON object, ours or not, with
// nested dictionaries and JSON texts. Reading it never throws, every value read is trimmed and
// not blank, and the route agrees with what made the push ours.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/fuzz_support.h"
#include "tarnwell/core/detail/text.h"
#include "tarnwell/messagecenter/detail/push_router.h"

namespace tarnwell {
namespace {

void requireTrimmed(const std::optional<std::string>& value, std::string_view what) {
  if (value) fuzz::require(!value->empty() && detail::trimWhitespaceAndNewlines(*value) == *value, what);
}

}  // namespace
}  // namespace tarnwell

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnwell;
  JSONValue value;
  try {
    value = JSONValue::decode(fuzz::asText(data, size));
  } catch (const DecodingError&) {
    return 0;
  }
  const JSONObject* userInfo = value.asObject();
  if (userInfo == nullptr) return 0;
  const detail::PushPayload push(*userInfo);
  requireTrimmed(push.notificationType(), "the notification type is blank or untrimmed");
  requireTrimmed(push.tab(), "the tab is blank or untrimmed");
  requireTrimmed(push.announcementId(), "the announcement id is blank or untrimmed");
  requireTrimmed(push.threadId(), "the thread id is blank or untrimmed");
  if (push.announcementId() || push.threadId()) fuzz::require(push.isOurs(), "a push naming an id is not ours");
  const MessageCenterRoute route = push.route();
  fuzz::require(route.initialTab == "announcements" || route.initialTab == "messages", "the route has no tab");
  if (route.initialTab == "announcements") {
    fuzz::require(!route.threadId && route.announcementId == push.announcementId(),
                  "the announcements route carries a thread or another announcement");
  } else {
    fuzz::require(!route.announcementId && route.threadId == push.threadId(),
                  "the messages route carries an announcement or another thread");
  }
  return 0;
}
