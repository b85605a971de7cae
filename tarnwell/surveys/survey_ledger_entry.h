// File: tarnwell/surveys/survey_ledger_entry.h
//
// What the device remembers of one survey for the current user: the delivery ledger that the
// frequency limits read. For diagnostics (Tarnwell::getSurveyLedgerEntry).
//
// A missing entry reads as 0. Plain values, safe on any thread.
#pragma once

#include <cstdint>

namespace tarnwell {

struct SurveyLedgerEntry {
  std::int64_t impressions = 0;  // times presented
  double lastShown = 0;          // seconds since 1970 of the last presentation
  std::int64_t dismissed = 0;    // times dismissed without a response
  std::int64_t completed = 0;    // times answered (a cancelled answer that reached the backend counts)

  friend bool operator==(const SurveyLedgerEntry&, const SurveyLedgerEntry&) = default;
};

}  // namespace tarnwell
