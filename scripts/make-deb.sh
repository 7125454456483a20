#!/usr/bin/env bash
# Makes the Debian package from the build folder that scripts/configure.sh set up (its objects are
# reused: debhelper configures the same folder with the same flags), puts the .deb in DIST, and
# checks it: lintian (no error, no warning), the desktop entry and the AppStream description.
# Usage: make-deb.sh BUILD DIST
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:?the build folder}
dist=${2:?the folder for the package}
mkdir -p "$dist"
dist=$(cd "$dist" && pwd)
arch=$(dpkg-architecture -qDEB_HOST_ARCH)
version=$(dpkg-parsechangelog -S Version)
deb="$dist/wifi-profile_${version}_${arch}.deb"
rm -f "$deb"
# debhelper skips every step a stamp says is done; a package must be made of this build, so no
# stamp of an earlier one may stay.
rm -rf debian/debhelper-build-stamp debian/.debhelper debian/wifi-profile debian/files debian/*.substvars
# -nc: no clean first, which would remove the build folder; -b: the binary package only.
WIFIPROFILE_BUILD_DIR="$build" WIFIPROFILE_DEB_DIR="$dist" \
    dpkg-buildpackage -us -uc -b -nc \
    --buildinfo-file="$dist/wifi-profile_${version}_${arch}.buildinfo" \
    --changes-file="$dist/wifi-profile_${version}_${arch}.changes" \
    --buildinfo-option=-u"$dist" --changes-option=-u"$dist"
echo "== lintian" >&2
lintian --fail-on error,warning --info "$deb"
echo "== desktop entry and AppStream description" >&2
stage=debian/wifi-profile
desktop-file-validate "$stage"/usr/share/applications/*.desktop
appstreamcli validate --no-net "$stage"/usr/share/metainfo/*.metainfo.xml
echo "Made $deb" >&2
