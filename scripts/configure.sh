#!/usr/bin/env bash
# Configures the build folder (default build) the way the Debian package configures its own: the
# same compiler and linker flags (dpkg-buildflags, hardening on) and the same install layout. The
# tests therefore run the very binaries that `make deb` packages, and `make deb` reuses this
# folder's objects instead of compiling them again. A folder already configured so is left as it
# is (cmake re-runs by itself when a CMakeLists.txt changes); one configured otherwise (an older
# build type or flags) is configured again, and then compiles afresh.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
# The same as debian/rules.
export DEB_BUILD_MAINT_OPTIONS="hardening=+all"
# Like debhelper: CMake reads no CPPFLAGS, so they go with the compiler's flags.
cxxflags="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
ldflags="$(dpkg-buildflags --get LDFLAGS)"
cache="$build/CMakeCache.txt"
if [ -f "$build/build.ninja" ] && grep -qxF "CMAKE_BUILD_TYPE:STRING=None" "$cache" &&
    grep -qxF "CMAKE_CXX_FLAGS:STRING=$cxxflags" "$cache"; then
    exit 0
fi
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null)
# The options debhelper's cmake build system gives, which set where things are installed.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_CXX_FLAGS="$cxxflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags" \
    -DCMAKE_SHARED_LINKER_FLAGS="$ldflags" -DCMAKE_MODULE_LINKER_FLAGS="$ldflags" \
    -DCMAKE_INSTALL_SYSCONFDIR=/etc -DCMAKE_INSTALL_LOCALSTATEDIR=/var -DCMAKE_INSTALL_RUNSTATEDIR=/run \
    -DCMAKE_INSTALL_LIBDIR="lib/$multiarch" >/dev/null
