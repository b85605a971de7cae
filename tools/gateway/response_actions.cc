#include "tools/gateway/response_actions.h"

#include <string_view>

#include <tarnwell/core/iso8601.h>

#include "tools/gateway/payload_reader.h"

namespace tarnwell::gateway {
namespace {

// What tells a survey's response from an announcement's: the kind kept, and the keys that name
// what was answered.
struct ResponseShape {
  std::string_view kind;
  std::string_view idKey;
  std::string_view nameKey;
};

constexpr ResponseShape kSurvey{kSurveyResponse, "surveyId", "surveyName"};
constexpr ResponseShape kAnnouncement{kAnnouncementResponse, "bannerId", "bannerName"};

// Checks every key of the response in the order the SDK sends them; answers the id of what was
// answered. "responses" and "answers" are the answers as JSON texts.
std::optional<std::string> readResponse(const PayloadReader& payload, const ResponseShape& shape) {
  for (const char* key : {"id", "userId", "appVersion", "platform", "metadata"}) payload.nullableText(key);
  std::optional<std::string> answeredId = payload.nullableText(shape.idKey);
  payload.nullableJSONText("responses");
  payload.flag("completed");
  payload.nullableText(shape.nameKey);
  for (const char* key : {"userName", "userEmail", "userSegment"}) payload.nullableText(key);
  payload.nullableJSONText("answers");
  payload.nullableNumber("score");
  payload.number("completionTime");
  for (const char* key : {"deviceInfo", "location", "submittedAt", "ownerId"}) payload.nullableText(key);
  return answeredId;
}

ActionHandler submitting(const ResponseShape& shape) {
  return answeringPayloadErrors([shape](ActionContext& context, const ActionCall& call) {
    ReceivedResponse response{std::string(shape.kind),
                              readResponse(PayloadReader(call.payload), shape),
                              call.sentPayloadText(),
                              call.sessionToken,
                              call.session ? std::optional(call.session->teamId) : std::nullopt,
                              formatISO8601Date(context.clock.now())};
    context.store.responseStore().recordResponse(response);
    return ActionReply::success(JSONObject{{"success", true}});
  });
}

// A tap on a live card: its 17 keys, texts but for the two numbers, each null when absent.
ActionReply trackLiveCardClick(ActionContext& context, const ActionCall& call) {
  const PayloadReader payload(call.payload);
  payload.nullableText("id");
  std::optional<std::string> liveCardId = payload.nullableText("liveCardId");
  for (const char* key :
       {"userId", "sessionId", "deviceId", "impressionId", "buttonType", "buttonId", "actionType", "actionTarget"}) {
    payload.nullableText(key);
  }
  payload.nullableNumber("carouselItemIndex");
  for (const char* key : {"position", "timestamp"}) payload.nullableText(key);
  payload.nullableNumber("timeToAction");
  for (const char* key : {"appVersion", "platform", "metadata"}) payload.nullableText(key);
  context.store.responseStore().recordResponse(
      {std::string(kLiveCardClick), std::move(liveCardId), call.sentPayloadText(), call.sessionToken,
       call.session ? std::optional(call.session->teamId) : std::nullopt, formatISO8601Date(context.clock.now())});
  return ActionReply::success(JSONObject{{"success", true}});
}

}  // namespace

void addResponseActions(ActionTable& table) {
  table["submit_survey_response"] = submitting(kSurvey);
  table["submit_announcement_banner_response"] = submitting(kAnnouncement);
  table["track_live_card_click"] = answeringPayloadErrors(trackLiveCardClick);
}

}  // namespace tarnwell::gateway
