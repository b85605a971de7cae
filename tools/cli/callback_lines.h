// File: tools/cli/callback_lines.h
//
// CallbackLines is the command-line host's survey and announcement callback: every call the SDK
// makes prints its own line at that moment, through the printer it was given, e.g.
//
//   {"callback":"onSurveySubmitted","surveyId":"s1","responses":{"nps_score":9},"targetScreen":null,"deepLink":null}
//   {"callback":"onAnnouncementDismissed","announcementId":"a1"}
//
//   auto lines = std::make_shared<CallbackLines>([&host](const JSONObject& line) { host.printLine(line); });
//   sdk.showSurvey("checkout_completed", lines, [](bool shown) {});
//
// Calls arrive on the SDK's main context; the printer must take lines from any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <tarnwell/announcements/announcement_callback.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/surveys/survey_callback.h>

namespace tarnwell::cli {

class CallbackLines final : public SurveyCallback, public AnnouncementCallback {
 public:
  using Printer = std::function<void(const JSONObject& line)>;

  explicit CallbackLines(Printer print) : print_(std::move(print)) {}

  void onSurveySubmitted(const SurveyPresentationResult& result) override;
  void onSurveyCancelled(const std::string& surveyId, const std::optional<std::string>& targetScreen,
                         const std::optional<std::string>& deepLink) override;
  void onSurveyDismissed(const std::string& surveyId) override;

  void onAnnouncementSubmitted(const AnnouncementPresentationResult& result) override;
  void onAnnouncementCancelled(const std::string& announcementId, const std::optional<std::string>& targetScreen,
                               const std::optional<std::string>& deepLink) override;
  void onAnnouncementDismissed(const std::string& announcementId) override;

 private:
  Printer print_;
};

}  // namespace tarnwell::cli
