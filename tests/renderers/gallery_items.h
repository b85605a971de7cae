// The surveys and announcements the renderer tests and the frame benchmark draw: one of each of
// the fourteen survey flows and the four announcement layouts, as a dashboard would send them,
// plus items that a careless or hostile dashboard could send.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <tarnwell/surveys/survey.h>

namespace tarnwell::testing {

struct GalleryItem {
  std::string name;  // also the PNG's file name
  Survey item;
};

inline Survey galleryItem(std::string id, std::string templateId, std::string structure) {
  Survey item;
  item.id = std::move(id);
  item.status = "published";
  item.templateId = std::move(templateId);
  item.structureJSON = std::move(structure);
  return item;
}

inline std::vector<GalleryItem> gallerySurveys() {
  return {
      {"star-rating", galleryItem("g-star", "star_rating", R"({"title":"How was your checkout?"})")},
      {"thumbs-feedback", galleryItem("g-thumbs", "thumbs_feedback", R"({"title":"Was this article helpful?"})")},
      {"post-support-feedback", galleryItem("g-support", "post_support_feedback", "{}")},
      {"text-feedback", galleryItem("g-text", "text_feedback", R"({"title":"Tell us what you think"})")},
      {"nps", galleryItem("g-nps", "nps_survey",
                          R"({"title":"How likely are you to recommend us?",
                              "questions":[{"id":"nps_score","type":"nps"},{"id":"why","type":"text"}]})")},
      {"csat", galleryItem("g-csat", "csat_survey", "{}")},
      {"emoji-mood", galleryItem("g-emoji", "emoji_mood_tracker", "{}")},
      {"multiple-choice",
       galleryItem("g-multi", "multiple_choice_survey",
                   R"({"questions":[{"id":"features","type":"multiple_choice","text":"Which features do you use?",
                       "options":["Reports","Dashboards","Exports","Alerts"]}]})")},
      {"single-question-poll", galleryItem("g-poll", "single_question_poll",
                                           R"({"questions":[{"id":"plan","text":"Which plan fits your team?",
                       "options":["Starter","Team","Enterprise"]}]})")},
      {"customer-discovery", galleryItem("g-discovery", "customer_discovery_survey", "{}")},
      {"product-market-fit", galleryItem("g-pmf", "pmf_survey", "{}")},
      {"exit-survey", galleryItem("g-exit", "exit_survey", "{}")},
      {"multi-step", galleryItem("g-steps", "multi_step_survey",
                                 R"({"questions":[{"id":"role","type":"single_choice","text":"What is your role?",
                        "options":["Engineer","Designer","Manager"]},
                       {"id":"ease","type":"rating","text":"How easy was setup?"},
                       {"id":"wish","type":"text","text":"What should we build next?"}]})")},
      {"generic", galleryItem("g-generic", "custom_form",
                              R"({"title":"A few questions","questions":[{"id":"name","type":"text","text":"Your name"},
                       {"id":"score","type":"rating","text":"Rate the app"}]})")},
  };
}

inline std::vector<GalleryItem> galleryAnnouncements() {
  return {
      {"announcement-notice", galleryItem("g-notice", "", R"({"title":"Scheduled maintenance",
                   "description":"The dashboard is read-only on Sunday from 02:00 to 04:00 UTC."})")},
      {"announcement-feature",
       galleryItem("g-feature", "feature_announcement",
                   R"({"title":"New dashboard","description":"- Live charts\n- Shared filters\n- Faster exports",
                       "primaryButtonText":"Try it","secondaryButtonText":"Later"})")},
      {"announcement-blocking",
       galleryItem("g-blocking", "mandatory_update",
                   R"({"title":"Update required","description":"This version is no longer supported."})")},
      {"announcement-carousel",
       galleryItem("g-carousel", "carousel_announcement",
                   R"({"title":"What's new","items":[{"title":"Live charts","description":"Watch numbers move."},
                       {"title":"Shared filters","description":"One view for the whole team."},
                       {"title":"Faster exports","description":"CSV in seconds."}]})")},
  };
}

// Items a dashboard should never send; each must still draw a card.
inline std::vector<GalleryItem> galleryBadSurveys() {
  std::string options;
  for (int i = 0; i < 1000; ++i) options += (i ? ",\"Option " : "\"Option ") + std::to_string(i) + "\"";
  Survey badColours = galleryItem("b-colours", "csat_survey", R"({"style":{"textColor":"#GGGGGG"}})");
  badColours.configJSON = R"json({"style":{"primaryColor":"#12","backgroundColor":"red","textColor":"#GGGGGG",
                             "buttonTextColor":"rgb(1,2)","buttonBackgroundColor":"#1234567890"}})json";
  return {
      {"bad-structure", galleryItem("b-parse", "nps_survey", "{not json")},
      {"bad-thousand-options",
       galleryItem("b-options", "multiple_choice_survey",
                   R"({"questions":[{"id":"q","type":"multiple_choice","options":[)" + options + "]}]}")},
      {"bad-long-title", galleryItem("b-title", "text_feedback", R"({"title":")" + std::string(100000, 'W') + R"("})")},
      {"bad-keys-missing", galleryItem("b-keys", "multi_step_survey", R"({"questions":[{},{},{"options":[{}]}]})")},
      {"bad-colours", badColours},
      {"bad-template-case", galleryItem("b-case", "  NPS_Survey ", "{}")},
  };
}

}  // namespace tarnwell::testing
