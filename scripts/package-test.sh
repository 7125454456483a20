#!/usr/bin/env bash
# Installs the Debian package that `make deb` made, runs the installed program the way a person and
# a host program would (on the simulated device, from a folder far from the build), checks what it
# installed, then removes it again, leaving the machine as it was. Usage: package-test.sh DIST
set -euo pipefail
cd "$(dirname "$0")/.."
dist=$(cd "${1:?the folder holding the package}" && pwd)
deb=$(ls "$dist"/wifi-profile_*.deb | head -n 1)
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
fail() { echo "package test: $*" >&2; exit 1; }

if dpkg-query -W -f='${Status}' wifi-profile 2>/dev/null | grep -q "install ok installed"; then
    fail "wifi-profile is installed on this machine already; remove it first (apt-get remove wifi-profile)"
fi
echo "== installing $deb" >&2
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get install -y -qq --no-install-recommends "$deb" >/dev/null
trap '$SUDO apt-get remove -y -qq wifi-profile >/dev/null' EXIT

cd "$(mktemp -d)"
# The checks read English unless they ask for another language, whatever this machine's locale.
unset LANGUAGE LC_ALL LC_MESSAGES
export LANG=C.UTF-8
installed=$(dpkg -L wifi-profile)
for file in /usr/bin/wifi-profile /usr/lib/"$(dpkg-architecture -qDEB_HOST_MULTIARCH)"/wifi-profile/libwifiprofile.so \
    /usr/share/man/man1/wifi-profile.1.gz /usr/share/wifi-profile/scenarios/default.json; do
    grep -qx "$file" <<< "$installed" || fail "the package does not install $file"
done
[ "$(command -v wifi-profile)" = /usr/bin/wifi-profile ] || fail "wifi-profile is not /usr/bin/wifi-profile"
expected="wifi-profile $(dpkg-query -W -f='${Version}' wifi-profile)"
[ "$(wifi-profile --version)" = "$expected" ] || fail "--version says \"$(wifi-profile --version)\", not \"$expected\""

# The installed program finds its installed plugin by itself; the JSON line is the host program's.
result=$(wifi-profile --backend sim --format json)
echo "$result" | grep -q '^{"statusCode": 0, "data": {"currentNetwork": {' || fail "unexpected result: $result"
# ... and loads that one, not one of the build folder's: the dynamic loader says which it starts.
loaded=$(LD_DEBUG=libs wifi-profile --backend sim --format json 2>&1 >/dev/null | grep -o 'calling init: [^ ]*libwifiprofile\.so$' | sort -u)
[ "$loaded" = "calling init: /usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/wifi-profile/libwifiprofile.so" ] ||
    fail "the installed program did not load the installed plugin: ${loaded:-none}"
# A scenario installed with it, and the summary a person reads, in German.
LANG=de_DE.UTF-8 LANGUAGE=de wifi-profile --scenario /usr/share/wifi-profile/scenarios/default.json \
    --format text > summary.txt
grep -q '^WLAN: ' summary.txt || fail "the summary is not in German: $(head -n 3 summary.txt)"
# The report needs no display and writes one self-contained page.
wifi-profile --backend sim --format json --report report.html > /dev/null
grep -q '<html lang="en"' report.html || fail "no report written"

man -w wifi-profile > /dev/null || fail "man finds no manual page of wifi-profile"
desktop-file-validate /usr/share/applications/org.wifiprofile.WifiProfile.desktop
appstreamcli validate --no-net /usr/share/metainfo/org.wifiprofile.WifiProfile.metainfo.xml > /dev/null
grep -q '^Exec=wifi-profile --list --ui$' /usr/share/applications/org.wifiprofile.WifiProfile.desktop ||
    fail "the menu entry does not start the list in a window"

echo "== removing it" >&2
trap - EXIT
$SUDO apt-get remove -y -qq wifi-profile >/dev/null
[ ! -e /usr/bin/wifi-profile ] || fail "/usr/bin/wifi-profile is still there after the removal"
echo "The package installs, runs and removes cleanly." >&2
