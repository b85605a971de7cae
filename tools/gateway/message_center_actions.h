// File: tools/gateway/message_center_actions.h
//
// The message center's actions: support threads and their messages ("create_thread",
// "send_message", "get_message_threads", "get_messages", "mark_message_read",
// "update_thread_unread_count", "delete_thread", "hide_thread_for_user"), the announcement feed
// ("get_message_announcements", "mark_message_announcement_read"), the settings
// ("get_message_center_settings") and push registration ("upsert_push_token").
//
//   {"action":"get_messages","payload":{"threadId":"65f0c1d2e3a4b5c6d7e8","limit":100}}
//   // answers {"ok":true,"data":{"items":[{"$id":...,"senderType":"admin","isRead":false,...}]}}
//
// Lists answer {"items": [...]}, single documents {"item": ...}, and the rest {"success": true}.
// New documents get a backend id and "$createdAt" / "$updatedAt" in the backend's date form.
// A payload that lacks a key or holds one of the wrong type, an unknown thread, message or
// announcement, a closed thread and a feature the settings switch off each answer a failure.
//
// postSupportReply() is what the support team does from the inspection side: a message with
// "senderType" "admin", unread, counted in the thread's "unreadCount".
#pragma once

#include <string>

#include <tarnwell/platform/clock.h>

#include "tools/gateway/actions.h"

namespace tarnwell::gateway {

void addMessageCenterActions(ActionTable& table);

MessageAdded postSupportReply(MessageCenterStore& store, const Clock& clock, const std::string& threadId,
                              const std::string& content);

// A time in the backend's document form: "2026-03-01T09:30:15.250+00:00".
std::string backendDate(const Clock& clock);

}  // namespace tarnwell::gateway
