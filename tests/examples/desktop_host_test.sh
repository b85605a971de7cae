#!/usr/bin/env bash
# The desktop example as a person would use it, in a virtual display against the local gateway:
# a tracked checkout brings up the NPS survey, which is answered through the drawn overlay; the
# gateway must then hold that answer, and the last frame is kept as a PNG.
#   desktop_host_test.sh SOURCE_DIR GATEWAY HOST FRAME_PNG
set -euo pipefail
source_dir=$1
export TARNWELL_GATEWAY=$2
host=$3
frame=$4
cd "$source_dir"
mkdir -p "$(dirname "$frame")"
source scripts/lib/local-gateway.sh

"$host" --config examples/tarnwell-config.json --endpoint "$endpoint" --store "$work/sdk.sqlite" \
  --press "Complete checkout" --press 9 --type @placeholder:Optional "Checkout was quick" --press Send \
  --press "Open dashboard" --screenshot "$frame"

test -s "$frame" || { echo "no frame saved at $frame" >&2; exit 1; }
curl -fsS "$gateway_base/__gateway/responses?surveyId=srv_checkout_nps" | python3 -c '
import json, sys
items = json.load(sys.stdin)["items"]
assert len(items) == 1, items
payload = items[0]["payload"]
responses = payload["responses"]
if isinstance(responses, str):
    responses = json.loads(responses)
assert payload["completed"] is True, payload
assert responses == {"nps_score": 9, "nps_reason": "Checkout was quick"}, responses
print("answer stored:", responses)
'
