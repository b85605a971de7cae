// File: tarnwell/surveys/survey_callback.h
//
// How a host hears what became of the surveys the SDK showed: it implements SurveyCallback and
// hands it over with showSurvey.
//
//   struct Host : tarnwell::SurveyCallback {
//     void onSurveySubmitted(const tarnwell::SurveyPresentationResult& r) override { save(r.responses); }
//     void onSurveyCancelled(const std::string&, const std::optional<std::string>&,
//                            const std::optional<std::string>&) override {}
//     void onSurveyDismissed(const std::string& surveyId) override { note(surveyId); }
//   };
//   sdk.showSurvey("checkout_completed", std::make_shared<Host>());
//
// Every call runs on the SDK's main context. A survey answered with `completed` false also
// arrives through onSurveySubmitted: the answers and the "survey_cancelled" event tell the two
// apart, and onSurveyCancelled is never called. It stays in the interface for hosts that
// implement it.
#pragma once

#include <optional>
#include <string>

#include <tarnwell/core/json_value.h>

namespace tarnwell {

struct SurveyPresentationResult {
  std::string surveyId;
  JSONObject responses;
  std::optional<std::string> targetScreen;
  std::optional<std::string> deepLink;
};

class SurveyCallback {
 public:
  virtual ~SurveyCallback() = default;
  virtual void onSurveySubmitted(const SurveyPresentationResult& result) = 0;
  virtual void onSurveyCancelled(const std::string& surveyId, const std::optional<std::string>& targetScreen,
                                 const std::optional<std::string>& deepLink) = 0;
  virtual void onSurveyDismissed(const std::string& surveyId) = 0;
};

}  // namespace tarnwell
