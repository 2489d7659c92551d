#!/usr/bin/env bash
# Builds FAAD2 and FDK AAC as static MinGW-w64 libraries from Debian's source packages, once per
# machine: into a cache outside the clone, keyed by the library and compiler versions, so later
# builds (and other clones) reuse them. Prints the installation prefix (include/, lib/).
# Usage: build-windows-deps.sh   (ZORV_DEPS_CACHE overrides the cache folder)
set -euo pipefail

faad2_version=2.10.1
fdkaac_version=2.0.2
triplet=x86_64-w64-mingw32
here=$(cd "$(dirname "$0")" && pwd)
toolchain=$here/../cmake/mingw-w64-x86_64.cmake

compiler_version=$($triplet-gcc-win32 -dumpversion)
cache=${ZORV_DEPS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/zorv_aac}
prefix=$cache/mingw64-gcc$compiler_version-faad2-$faad2_version-fdk-aac-$fdkaac_version
if [ -f "$prefix/.complete" ]; then
  echo "$prefix"
  exit 0
fi

mkdir -p "$cache"
exec 9> "$cache/.lock"
flock 9  # another build may be making the same libraries right now
if [ -f "$prefix/.complete" ]; then
  echo "$prefix"
  exit 0
fi

work=$(mktemp -d "$cache/work.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
log=$work/log
fail() {
  tail -40 "$log" >&2
  echo "build-windows-deps.sh: $1" >&2
  exit 1
}
jobs=$(nproc)
stage=$work/prefix
mkdir -p "$stage/include" "$stage/lib"

echo "build-windows-deps.sh: building FAAD2 $faad2_version and FDK AAC $fdkaac_version into $prefix" >&2
# FAAD2: Debian's source package as dpkg-source unpacks it. Its own build system only wraps the
# library's C files, so they are compiled directly, with the definitions its configure script
# makes on this target.
apt-get -q source "faad2" > "$log" 2>&1 || fail "apt-get source faad2 failed (is a deb-src entry configured?)"
faad2=$work/faad2-$faad2_version
[ -d "$faad2" ] || fail "Debian's faad2 source is not version $faad2_version"
sources=$(sed -n '/^libfaad_la_SOURCES/,/^$/p' "$faad2/libfaad/Makefile.am" | grep -o '[a-z_0-9]*\.c')
mkdir -p faad2-obj
printf '%s\n' $sources | xargs -P "$jobs" -I{} $triplet-gcc-win32 -c -O2 -fvisibility=hidden -w \
  -iquote "$faad2/include" -iquote "$faad2/libfaad" -DPACKAGE_VERSION="\"$faad2_version\"" -DAPPLY_DRC \
  -DHAVE_STDINT_H -DHAVE_STRING_H -DHAVE_LRINTF -DHAVE_MEMCPY -DSTDC_HEADERS \
  "$faad2/libfaad/{}" -o "faad2-obj/{}.o" >> "$log" 2>&1 || fail "compiling FAAD2 failed"
$triplet-ar rcs "$stage/lib/libfaad.a" faad2-obj/*.o
# neaacdec.h marks the API dllexport on Windows; those directives would make every DLL that
# links the library export its functions too.
$triplet-objcopy --remove-section .drectve "$stage/lib/libfaad.a"
cp "$faad2/include/neaacdec.h" "$stage/include/"

# FDK AAC: Debian's tarball of it is missing on the mirror, the original tarball is not; it
# builds with its own CMake.
apt-get -q source --tar-only fdk-aac >> "$log" 2>&1 || fail "apt-get source fdk-aac failed"
[ -f "fdk-aac_$fdkaac_version.orig.tar.gz" ] || fail "Debian's fdk-aac source is not version $fdkaac_version"
tar xzf "fdk-aac_$fdkaac_version.orig.tar.gz"
cmake -S "fdk-aac-$fdkaac_version" -B fdk-build -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DCMAKE_INSTALL_PREFIX="$stage" \
  -DFDK_AAC_INSTALL_CMAKE_CONFIG_MODULE=OFF -DFDK_AAC_INSTALL_PKGCONFIG_MODULE=OFF >> "$log" 2>&1 ||
  fail "configuring FDK AAC failed"
ninja -C fdk-build -j"$jobs" install >> "$log" 2>&1 || fail "building FDK AAC failed"

touch "$stage/.complete"
rm -rf "$prefix"
mv "$stage" "$prefix"
echo "$prefix"
