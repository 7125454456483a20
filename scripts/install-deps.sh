#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only when one is missing.
set -euo pipefail
packages=(cmake ninja-build g++ qt6-base-dev qt6-base-dev-tools libgl-dev libgtest-dev libgmock-dev
          libbenchmark-dev clang-format
          clang libclang-rt-14-dev  # the fuzz targets: clang with libFuzzer and the sanitizers
          # the real-system backend's tests: mocked NetworkManager and BlueZ on a private bus, and
          # private networks in namespaces with a resolver, NAT routers and the ping program
          python3-dbusmock dbus dnsmasq-base nftables iproute2 iputils-ping
          # the NetworkManager readers against Debian's real daemon, run in a namespace (realnm)
          network-manager
          # the HTML report opened in a real browser: headless, in a network namespace of its own
          chromium)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing missing packages: ${missing[*]}" >&2
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
