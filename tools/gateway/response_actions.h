// File: tools/gateway/response_actions.h
//
// The actions that carry what users answered: "submit_survey_response" and
// "submit_announcement_banner_response". The SDK sends all 19 keys of a response, an absent value
// as null; an announcement's response has "bannerId" and "bannerName" where a survey's has
// "surveyId" and "surveyName". "track_live_card_click" carries a tap on a live card: 17 keys,
// texts or null but for the numbers "carouselItemIndex" and "timeToAction", kept the same way
// under its "liveCardId".
//
//   {"id":"rsp_1","userId":"anonymous_A1","appVersion":"2.4.0","platform":"ios","metadata":null,
//    "surveyId":"srv_checkout_nps","responses":"{\"nps_score\":9}","completed":true,...}
//   // answers {"ok":true,"data":{"success":true}} and keeps the response
//
// A payload that lacks one of the keys, or holds one of the wrong type, answers "Invalid <action>
// payload: <key> ..." and nothing of it is kept. A response is kept with its payload text byte
// for byte as sent.
#pragma once

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

void addResponseActions(ActionTable& table);

}  // namespace tarnwell::gateway
