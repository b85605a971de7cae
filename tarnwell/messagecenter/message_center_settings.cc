#include "tarnwell/messagecenter/message_center_settings.h"

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<MessageCenterSettings> {
  using R = MessageCenterSettings;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "$id"), field(&R::appId, "appId"), field(&R::environment, "environment"),
      field(&R::organizationId, "organizationId"), field(&R::projectId, "projectId"), field(&R::teamId, "teamId"),
      field(&R::isEnabled, "isEnabled"), field(&R::chatEnabled, "chatEnabled"),
      field(&R::announcementsEnabled, "announcementsEnabled"), field(&R::pushEnabled, "pushEnabled"),
      field(&R::maxOpenConversationsPerUser, "maxOpenConversationsPerUser"),
      field(&R::allowUserConversationDelete, "allowUserConversationDelete"), field(&R::updatedBy, "updatedBy"),
      field(&R::createdAt, "$createdAt"), field(&R::updatedAt, "$updatedAt"));
};

}  // namespace detail

MessageCenterSettings MessageCenterSettings::decode(const JSONValue& value) {
  return detail::decodeRecord<MessageCenterSettings>(value);
}
JSONValue MessageCenterSettings::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
