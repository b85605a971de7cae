#include "tools/gateway/content_actions.h"

#include <array>
#include <string_view>

#include "tools/gateway/payload_reader.h"

namespace tarnwell::gateway {
namespace {

// The kinds the runtime bundle carries, in the order it lists them.
constexpr std::array<std::string_view, 4> kBundleKinds = {"surveys", "announcements", "liveCards", "featureFlags"};

// True when the caller's marks name the current version of every kind. A mark of a bundle kind
// that is not text fails the payload; marks of other kinds are not looked at.
bool holdsEveryVersion(const PayloadReader& known, const GatewayContent& content) {
  bool holdsAll = true;
  for (const std::string_view kind : kBundleKinds) {
    const bool holds = known.value().asObject()->contains(kind) && known.text(kind) == content.section(kind).version;
    holdsAll = holdsAll && holds;
  }
  return holdsAll;
}

ActionReply getRuntimeBundle(ActionContext& context, const ActionCall& call) {
  const PayloadReader known = PayloadReader(call.payload).object("knownVersions");
  JSONObject versions;
  for (const std::string_view kind : kBundleKinds) {
    versions.set(std::string(kind), context.content.section(kind).version);
  }
  if (holdsEveryVersion(known, context.content)) {
    return ActionReply::success(JSONObject{{"versions", std::move(versions)}, {"notModified", true}});
  }
  JSONObject items;
  for (const std::string_view kind : kBundleKinds) {
    items.set(std::string(kind), context.content.section(kind).documents);
  }
  return ActionReply::success(JSONObject{{"versions", std::move(versions)}, {"items", std::move(items)}});
}

// The handler that answers every document of `section` under "items".
ActionHandler listing(std::string_view section) {
  return [section](ActionContext& context, const ActionCall&) {
    return ActionReply::success(JSONObject{{"items", context.content.section(section).documents}});
  };
}

ActionReply getSegment(ActionContext& context, const ActionCall& call) {
  const std::string id = PayloadReader(call.payload).text("segmentId");
  for (const JSONValue& segment : context.content.section("segments").documents) {
    const JSONString* segmentId = segment["id"].asString();
    if (segmentId != nullptr && *segmentId == id) return ActionReply::success(JSONObject{{"item", segment}});
  }
  return ActionReply::success(JSONObject{{"item", nullptr}});
}

}  // namespace

void addContentActions(ActionTable& table) {
  table["get_runtime_bundle"] = answeringPayloadErrors(getRuntimeBundle);
  table["get_surveys"] = listing("surveys");
  table["get_announcements_banners"] = listing("announcements");
  table["get_live_cards"] = listing("liveCards");
  table["get_feature_flags"] = listing("featureFlags");
  table["get_segment"] = answeringPayloadErrors(getSegment);
}

}  // namespace tarnwell::gateway
