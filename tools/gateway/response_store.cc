#include "tools/gateway/response_store.h"

namespace tarnwell::gateway {
namespace {

// The payload is kept as the text it came as; answered_id repeats its survey or banner id so that
// listing one survey's responses needs no decoding.
constexpr const char* kResponseSchemaSql =
    "CREATE TABLE IF NOT EXISTS responses ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, kind TEXT NOT NULL, answered_id TEXT, payload TEXT NOT NULL,"
    " session_token TEXT, team_id TEXT, received_at TEXT NOT NULL);"
    "CREATE INDEX IF NOT EXISTS responses_by_answered ON responses (kind, answered_id)";

}  // namespace

JSONValue ReceivedResponse::toJSON() const {
  return JSONObject{{"sequence", sequence},
                    {"kind", kind},
                    {"id", textOrNull(answeredId)},
                    {"payload", JSONValue::decode(payloadText)},
                    {"sessionToken", textOrNull(sessionToken)},
                    {"teamId", textOrNull(teamId)},
                    {"receivedAt", receivedAt}};
}

ResponseStore::ResponseStore(SqliteDatabase& database) : database_(database) {
  database_.locked([](sqlite3* db) { execute(db, kResponseSchemaSql); });
}

void ResponseStore::recordResponse(const ReceivedResponse& response) {
  database_.locked([&](sqlite3* db) {
    Statement insert(db,
                     "INSERT INTO responses (kind, answered_id, payload, session_token, team_id, received_at)"
                     " VALUES (?, ?, ?, ?, ?, ?)");
    insert.bind(1, response.kind).bind(2, response.answeredId).bind(3, response.payloadText);
    insert.bind(4, response.sessionToken).bind(5, response.teamId).bind(6, response.receivedAt).step();
  });
}

std::vector<ReceivedResponse> ResponseStore::responses(const ResponseFilter& filter) {
  return database_.locked([&](sqlite3* db) {
    Statement select(db,
                     "SELECT kind, answered_id, payload, session_token, team_id, received_at, id FROM responses"
                     " WHERE (?6 = 1 AND kind = ?5 AND (?7 IS NULL OR answered_id = ?7))"
                     " OR (?6 = 0 AND ((?1 IS NULL AND ?2 IS NULL AND kind <> ?5) OR (kind = ?3 AND answered_id = ?1)"
                     " OR (kind = ?4 AND answered_id = ?2))) ORDER BY id");
    select.bind(1, filter.surveyId).bind(2, filter.bannerId);
    select.bind(3, std::string(kSurveyResponse)).bind(4, std::string(kAnnouncementResponse));
    select.bind(5, std::string(kLiveCardClick)).bind(6, std::optional<int>(filter.liveCardClicks ? 1 : 0));
    select.bind(7, filter.liveCardId);
    std::vector<ReceivedResponse> rows;
    while (select.step()) {
      rows.push_back({select.text(0), select.optionalText(1), select.text(2), select.optionalText(3),
                      select.optionalText(4), select.text(5), select.integer(6)});
    }
    return rows;
  });
}

}  // namespace tarnwell::gateway
