#include "tools/cli/callback_lines.h"

namespace tarnwell::cli {

void CallbackLines::onSurveySubmitted(const SurveyPresentationResult& result) {
  print_(JSONObject{{"callback", "onSurveySubmitted"},
                    {"surveyId", JSONValue(result.surveyId)},
                    {"responses", JSONValue(result.responses)},
                    {"targetScreen", textOrNull(result.targetScreen)},
                    {"deepLink", textOrNull(result.deepLink)}});
}

void CallbackLines::onSurveyCancelled(const std::string& surveyId, const std::optional<std::string>& targetScreen,
                                      const std::optional<std::string>& deepLink) {
  print_(JSONObject{{"callback", "onSurveyCancelled"},
                    {"surveyId", JSONValue(surveyId)},
                    {"targetScreen", textOrNull(targetScreen)},
                    {"deepLink", textOrNull(deepLink)}});
}

void CallbackLines::onSurveyDismissed(const std::string& surveyId) {
  print_(JSONObject{{"callback", "onSurveyDismissed"}, {"surveyId", JSONValue(surveyId)}});
}

void CallbackLines::onAnnouncementSubmitted(const AnnouncementPresentationResult& result) {
  print_(JSONObject{{"callback", "onAnnouncementSubmitted"},
                    {"announcementId", JSONValue(result.announcementId)},
                    {"responses", JSONValue(result.responses)},
                    {"targetScreen", textOrNull(result.targetScreen)},
                    {"deepLink", textOrNull(result.deepLink)}});
}

void CallbackLines::onAnnouncementCancelled(const std::string& announcementId,
                                            const std::optional<std::string>& targetScreen,
                                            const std::optional<std::string>& deepLink) {
  print_(JSONObject{{"callback", "onAnnouncementCancelled"},
                    {"announcementId", JSONValue(announcementId)},
                    {"targetScreen", textOrNull(targetScreen)},
                    {"deepLink", textOrNull(deepLink)}});
}

void CallbackLines::onAnnouncementDismissed(const std::string& announcementId) {
  print_(JSONObject{{"callback", "onAnnouncementDismissed"}, {"announcementId", JSONValue(announcementId)}});
}

}  // namespace tarnwell::cli
