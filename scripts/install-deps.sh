#!/usr/bin/env bash
# Installs the Debian packages a task needs, only those missing. Usage: install-deps.sh [SET...]
#   run   building and running the program (`make run`)
#   deb   making and checking the Debian package (`make deb`)
#   test  the tests: the suite, the sanitizers, the fuzzers, the pictures (`make test`)
# With no set: all of them.
set -euo pipefail
sets=("$@")
[ ${#sets[@]} -eq 0 ] && sets=(run deb test)
packages=()
for set in "${sets[@]}"; do
    case "$set" in
        run)
            # dpkg-dev: the build takes Debian's compiler flags (dpkg-buildflags), as the package does
            packages+=(cmake ninja-build g++ dpkg-dev qt6-base-dev qt6-base-dev-tools libgl-dev) ;;
        deb)
            packages+=(debhelper fakeroot lintian desktop-file-utils appstream man-db) ;;
        test)
            packages+=(libgtest-dev libgmock-dev libbenchmark-dev clang-format
                       clang libclang-rt-14-dev  # the fuzz targets: clang with libFuzzer and the sanitizers
                       # the real-system backend's tests: mocked NetworkManager and BlueZ on a private bus,
                       # and private networks in namespaces with a resolver, NAT routers and the ping program
                       python3-dbusmock dbus dnsmasq-base nftables iproute2 iputils-ping
                       # the NetworkManager readers against Debian's real daemon, run in a namespace (realnm)
                       network-manager
                       # the HTML report opened in a real browser: headless, in a network namespace of its own
                       chromium
                       # the screens' pictures in Chinese and Japanese show glyphs, not boxes
                       fonts-wqy-microhei
                       # the German locale, under which the result's numbers must not change
                       locales) ;;
        *)
            echo "install-deps.sh: unknown set \"$set\" (run, deb or test)" >&2
            exit 1 ;;
    esac
done
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing missing packages: ${missing[*]}" >&2
    export DEBIAN_FRONTEND=noninteractive
    $SUDO apt-get update -qq
    $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
# The tests run the program under a German locale, which the C library must have.
if [[ " ${sets[*]} " == *" test "* ]] && ! locale -a 2>/dev/null | grep -qx 'de_DE.utf8'; then
    echo "Making the de_DE.UTF-8 locale" >&2
    $SUDO localedef -i de_DE -c -f UTF-8 de_DE.UTF-8
fi
