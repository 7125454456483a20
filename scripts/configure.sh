#!/usr/bin/env bash
# Configures the build folder (default build) the way the Debian package configures its own: the
# same compiler and linker flags (dpkg-buildflags, hardening on) and the same install layout. The
# tests therefore run the very binaries that `make deb` packages, and `make deb` reuses this
# folder's objects instead of compiling them again. A folder configured before is left as it is
# (cmake re-runs by itself when a CMakeLists.txt changes).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
[ -f "$build/build.ninja" ] && exit 0
# The same as debian/rules.
export DEB_BUILD_MAINT_OPTIONS="hardening=+all"
# Like debhelper: CMake reads no CPPFLAGS, so they go with the compiler's flags.
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS="$(dpkg-buildflags --get LDFLAGS)"
export CXXFLAGS LDFLAGS
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null)
# The options debhelper's cmake build system gives, which set where things are installed.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_SYSCONFDIR=/etc -DCMAKE_INSTALL_LOCALSTATEDIR=/var -DCMAKE_INSTALL_RUNSTATEDIR=/run \
    -DCMAKE_INSTALL_LIBDIR="lib/$multiarch" >/dev/null
