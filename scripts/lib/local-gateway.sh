# Sourced by the scripts that run something against the local gateway: starts tarnwell-gateway
# ($TARNWELL_GATEWAY, else build/release's) with the example content on a free loopback port, in a
# scratch folder that goes away on exit with the gateway. Sets $work, $endpoint
# ("http://127.0.0.1:PORT/v1") and $gateway_base (the same without "/v1").

work=$(mktemp -d)
gateway_pid=""
stop_local_gateway() {
  if [ -n "$gateway_pid" ]; then kill "$gateway_pid" 2>/dev/null || true; wait "$gateway_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap stop_local_gateway EXIT

"${TARNWELL_GATEWAY:-build/release/tools/gateway/tarnwell-gateway}" --content examples/gateway-content.json --db "$work/gateway.sqlite" \
  >"$work/gateway.out" 2>"$work/gateway.err" &
gateway_pid=$!
for _ in $(seq 1 100); do
  [ -s "$work/gateway.out" ] && break
  kill -0 "$gateway_pid" 2>/dev/null || { cat "$work/gateway.err" >&2; exit 1; }
  sleep 0.1
done
endpoint=$(head -n 1 "$work/gateway.out")
gateway_base="${endpoint%/v1}"
echo "== tarnwell-gateway listening at $endpoint"

# The survey and announcement responses the gateway stored, one line each.
print_responses() {
  curl -fsS "$gateway_base/__gateway/responses" | python3 -c '
import json, sys
for item in json.load(sys.stdin)["items"]:
    payload = item["payload"]
    print(" ", item["kind"], item["id"], "completed=" + json.dumps(payload["completed"]),
          "responses=" + str(payload["responses"]), "(%d keys)" % len(payload))
'
}
