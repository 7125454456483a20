#!/usr/bin/env bash
# Peak memory of `wifi-profile --list` off screen with a 2,000-entry scan over 600 network names:
# the list loads, a network is tapped, NEXT runs the whole profile. Prints the peak resident set
# size in MB; the target is under 80 MB. Usage: benchmarks/list-memory.sh [build dir]
set -euo pipefail
build=${1:-build}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
python3 - "$dir/scan.json" <<'PY'
import json, sys
aps = []
for i in range(2000):
    name = None if i % 97 == 0 else "Network %03d" % (i % 600)
    ap = {"$record": "WiFiScanResult", "bssid": "02:00:00:%02x:%02x:%02x" % (i >> 16, (i >> 8) & 255, i & 255),
          "rssi": -30 - (i * 7) % 60, "channel": 1 + i % 11}
    if name is not None:
        ap["ssidString"] = name
    aps.append(ap)
scan = {"result": False, "didPass": True, "info": {"ScanResults": aps}}
json.dump({"description": "A crowded place: 2,000 access points, 600 names.",
           "status": {"ssid": "Network 000", "bssid": "02:00:00:00:00:00"},
           "tests": {"31": scan},
           "automation": [{"tapNetwork": "Network 599"}, {"tap": "NEXT"}]}, open(sys.argv[1], "w"))
PY
export QT_QPA_PLATFORM=offscreen
/usr/bin/time -f '%M' -o "$dir/rss" "$build/host/wifi-profile" --list --scenario "$dir/scan.json" >"$dir/out" 2>"$dir/err" || {
    echo "list-memory: the run failed:" >&2; cat "$dir/err" >&2; exit 1; }
grep -q '"statusCode": 0' "$dir/out" || { echo "list-memory: the run did not end with status 0" >&2; exit 1; }
kb=$(tail -n 1 "$dir/rss")
echo "peak memory of --list with a 2,000-entry scan: $((kb / 1024)) MB ($kb kB)"
