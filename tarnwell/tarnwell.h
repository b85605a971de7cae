// File: tarnwell/tarnwell.h
//
// Everything a host application uses: include this one header and link tarnwell::tarnwell.
// It pulls in no third-party header.
#pragma once

#include <tarnwell/announcements/announcement_callback.h>
#include <tarnwell/content/runtime_bundle.h>
#include <tarnwell/core/coding_error.h>
#include <tarnwell/core/color.h>
#include <tarnwell/core/constants.h>
#include <tarnwell/core/environment.h>
#include <tarnwell/core/iso8601.h>
#include <tarnwell/core/json_value.h>
#include <tarnwell/core/log.h>
#include <tarnwell/core/sdk_config.h>
#include <tarnwell/core/timestamp.h>
#include <tarnwell/flags/feature_flag.h>
#include <tarnwell/flags/feature_flag_report.h>
#include <tarnwell/flags/flag_value.h>
#include <tarnwell/livecards/live_card.h>
#include <tarnwell/livecards/live_card_handle.h>
#include <tarnwell/livecards/live_card_tracking.h>
#include <tarnwell/messagecenter/message.h>
#include <tarnwell/messagecenter/message_center_announcement.h>
#include <tarnwell/messagecenter/message_center_route.h>
#include <tarnwell/messagecenter/message_center_settings.h>
#include <tarnwell/messagecenter/message_center_state.h>
#include <tarnwell/messagecenter/message_requests.h>
#include <tarnwell/platform/app_info.h>
#include <tarnwell/platform/background_task_host.h>
#include <tarnwell/platform/clock.h>
#include <tarnwell/platform/device_info.h>
#include <tarnwell/platform/device_labels.h>
#include <tarnwell/platform/http_transport.h>
#include <tarnwell/platform/key_value_store.h>
#include <tarnwell/platform/main_context.h>
#include <tarnwell/platform/published.h>
#include <tarnwell/presentation/announcement_presenter_view.h>
#include <tarnwell/presentation/overlay_host.h>
#include <tarnwell/presentation/survey_presenter_view.h>
#include <tarnwell/sdk/facade.h>
#include <tarnwell/sdk/sdk_state.h>
#include <tarnwell/sdk/user_debug_state.h>
#include <tarnwell/surveys/delivery_verdict.h>
#include <tarnwell/surveys/survey.h>
#include <tarnwell/surveys/survey_callback.h>
#include <tarnwell/surveys/survey_ledger_entry.h>
#include <tarnwell/targeting/rule_condition.h>
#include <tarnwell/targeting/segment.h>
#include <tarnwell/ui/node.h>
#include <tarnwell/ui/node_id.h>
#include <tarnwell/ui/node_query.h>
