#include "tarnwell/messagecenter/message_center_announcement.h"

#include "tarnwell/core/detail/record_coding.h"

namespace tarnwell {

namespace detail {

template <>
struct RecordFields<MessageCenterAnnouncement> {
  using R = MessageCenterAnnouncement;
  static constexpr auto fields = std::make_tuple(
      field(&R::id, "$id"), field(&R::appId, "appId"), field(&R::environment, "environment"), field(&R::title, "title"),
      field(&R::content, "content"), field(&R::type, "type"), field(&R::status, "status"),
      field(&R::createdBy, "createdBy"), field(&R::creatorName, "creatorName"), field(&R::creatorEmail, "creatorEmail"),
      field(&R::sentAt, "sentAt"), field(&R::startTime, "startTime"), field(&R::endTime, "endTime"),
      field(&R::totalRecipients, "totalRecipients"), field(&R::openedCount, "openedCount"),
      field(&R::clickedCount, "clickedCount"), field(&R::attachmentsJSON, "attachments"),
      field(&R::targetingRulesJSON, "targetingRules"), field(&R::metadataJSON, "metadata"),
      field(&R::createdAt, "$createdAt"), field(&R::updatedAt, "$updatedAt"));
};

}  // namespace detail

MessageCenterAnnouncement MessageCenterAnnouncement::decode(const JSONValue& value) {
  return detail::decodeRecord<MessageCenterAnnouncement>(value);
}
JSONValue MessageCenterAnnouncement::encode() const { return detail::encodeRecord(*this); }

}  // namespace tarnwell
