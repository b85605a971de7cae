// File: tools/gateway/response_store.h
//
// ResponseStore keeps the survey and announcement responses and the live card clicks the SDK
// submits, in arrival order, each with its payload text exactly as the device sent it.
//
//   ResponseStore& responses = gatewayStore.responseStore();
//   responses.recordResponse({"survey", "srv_checkout_nps", payloadText, token, "team-1", now});
//   for (const ReceivedResponse& response : responses.responses({.surveyId = "srv_checkout_nps"})) ...
//
// Part of GatewayStore, which makes it over the store's connection: every member may be called
// from any thread. Failures of the database throw StoreError; a stored payload that no longer
// decodes (a file edited by hand) throws DecodingError when turned into JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarnwell/core/json_value.h>

#include "tools/gateway/sqlite_database.h"

namespace tarnwell::gateway {

// The kinds of response: to a survey, to an announcement banner, and a tap on a live card.
inline constexpr std::string_view kSurveyResponse = "survey";
inline constexpr std::string_view kAnnouncementResponse = "announcement";
inline constexpr std::string_view kLiveCardClick = "liveCardClick";

struct ReceivedResponse {
  std::string kind;                         // kSurveyResponse, kAnnouncementResponse or kLiveCardClick
  std::optional<std::string> answeredId;    // the payload's "surveyId", "bannerId" or "liveCardId"; absent for null
  std::string payloadText;                  // the payload's JSON text, byte for byte as sent
  std::optional<std::string> sessionToken;  // as the caller sent it, known or not
  std::optional<std::string> teamId;        // of the session the token belongs to, when known
  std::string receivedAt;                   // ISO 8601, UTC, milliseconds
  std::int64_t sequence = 0;                // 1 for the first response kept; the store numbers them

  // {"sequence","kind","id","payload","sessionToken","teamId","receivedAt"}: "id" the answered
  // survey's or banner's, "payload" the text decoded with its keys in the order sent, absent as
  // null.
  JSONValue toJSON() const;
};

// Which responses to list: those to the survey `surveyId` and those to the banner `bannerId`.
// Neither given lists all of them. With `liveCardClicks` the clicks are listed instead, only
// those on `liveCardId` when it is given.
struct ResponseFilter {
  std::optional<std::string> surveyId;
  std::optional<std::string> bannerId;
  bool liveCardClicks = false;
  std::optional<std::string> liveCardId;
};

class ResponseStore {
 public:
  // Creates the table it needs when it is missing.
  explicit ResponseStore(SqliteDatabase& database);

  // Adds the response after those kept so far; its `sequence` is not read.
  void recordResponse(const ReceivedResponse& response);
  // In arrival order.
  std::vector<ReceivedResponse> responses(const ResponseFilter& filter = {});

 private:
  SqliteDatabase& database_;
};

}  // namespace tarnwell::gateway
