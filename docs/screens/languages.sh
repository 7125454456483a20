#!/usr/bin/env bash
# Makes the README's pictures of the network list in Simplified Chinese, on a device with the
# "wapi" capability (so the WLAN wording), and of the list and the results in German, off screen.
# Usage: docs/screens/languages.sh [path of wifi-profile]
set -euo pipefail
cd "$(dirname "$0")/../.."
host=${1:-./build/host/wifi-profile}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sed 's/"capabilities": {"wapi": false}/"capabilities": {"wapi": true}/' scenarios/default.json > "$work/wapi.json"
grep -q '"wapi": true' "$work/wapi.json"
cat > "$work/zh.json" <<'JSON'
[{"screenshot": "docs/screens/list-zh_CN.png"}, {"tap": "NEXT"}, {"waitForResults": true}, {"tap": "CLOSE"}]
JSON
cat > "$work/de.json" <<'JSON'
[{"tapNetwork": "Casa Moreno"}, {"waitMs": 400}, {"screenshot": "docs/screens/list-de.png"}, {"tap": "NEXT"},
 {"waitForResults": true}, {"screenshot": "docs/screens/results-de.png"}, {"tap": "CLOSE"}]
JSON
export QT_QPA_PLATFORM=offscreen
LANG=zh_CN.UTF-8 LANGUAGE=zh_CN "$host" --list --ui --scenario "$work/wapi.json" --automation "$work/zh.json" \
    --format json > /dev/null
LANG=de_DE.UTF-8 LANGUAGE=de "$host" --list --ui --backend sim --automation "$work/de.json" --format json > /dev/null
echo "Made docs/screens/list-zh_CN.png, list-de.png and results-de.png" >&2
