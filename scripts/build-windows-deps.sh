#!/usr/bin/env bash
# Builds the static MinGW-w64 libraries of the Windows build from Debian's source packages, once
# per machine: into a cache outside the clone, each set keyed by its versions and the compiler's,
# so later builds (and other clones) reuse them. FAAD2 and FDK AAC are one set; FFmpeg's
# libraries (for the sibling module) are another, of the version the Linux build uses.
# Prints the sets' installation prefixes (include/, lib/) as a CMake list.
# Usage: build-windows-deps.sh   (ZORV_DEPS_CACHE overrides the cache folder)
set -euo pipefail

faad2_version=2.10.1
fdkaac_version=2.0.2
# The sibling's PCM must match the Linux build's, so FFmpeg is the installed libraries' version.
ffmpeg_version=$(dpkg-query -W -f='${Version}' libavcodec-dev)
triplet=x86_64-w64-mingw32
here=$(cd "$(dirname "$0")" && pwd)
toolchain=$here/../cmake/mingw-w64-x86_64.cmake

compiler_version=$($triplet-gcc-win32 -dumpversion)
cache=${ZORV_DEPS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/zorv_aac}
prefix=$cache/mingw64-gcc$compiler_version-faad2-$faad2_version-fdk-aac-$fdkaac_version
ffmpeg_prefix=$cache/mingw64-gcc$compiler_version-ffmpeg-${ffmpeg_version#*:}
if [ -f "$prefix/.complete" ] && [ -f "$ffmpeg_prefix/.complete" ]; then
  echo "$prefix;$ffmpeg_prefix"
  exit 0
fi

mkdir -p "$cache"
exec 9> "$cache/.lock"
flock 9  # another build may be making the same libraries right now

work=$(mktemp -d "$cache/work.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
log=$work/log
: > "$log"
fail() {
  tail -40 "$log" >&2
  echo "build-windows-deps.sh: $1" >&2
  exit 1
}
jobs=$(nproc)

# Builds a set into a staging prefix with the function STEP and moves it to PREFIX when done.
build_set() {
  local prefix=$1 step=$2 stage=$work/stage
  [ -f "$prefix/.complete" ] && return
  rm -rf "$stage"
  mkdir -p "$stage/include" "$stage/lib"
  "$step" "$stage"
  touch "$stage/.complete"
  rm -rf "$prefix"
  mv "$stage" "$prefix"
}

aac_libraries() {
  local stage=$1
  echo "build-windows-deps.sh: building FAAD2 $faad2_version and FDK AAC $fdkaac_version into $prefix" >&2
  # FAAD2: Debian's source package as dpkg-source unpacks it. Its own build system only wraps the
  # library's C files, so they are compiled directly, with the definitions its configure script
  # makes on this target.
  apt-get -q source "faad2" >> "$log" 2>&1 || fail "apt-get source faad2 failed (is a deb-src entry configured?)"
  local faad2=$work/faad2-$faad2_version
  [ -d "$faad2" ] || fail "Debian's faad2 source is not version $faad2_version"
  local sources
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
}

# FFmpeg: only what the sibling module uses. The MP4/MOV demuxer over plain files, the decoders
# of the codecs it hands over (each the one the Linux libraries pick first for its codec: MP2's
# is the fixed-point one), their parsers, and swresample; Win32 threads (the libraries keep
# their one-time initialisation thread-safe with them), and nothing detected from the machine.
ffmpeg_libraries() {
  local stage=$1
  echo "build-windows-deps.sh: building FFmpeg $ffmpeg_version into $ffmpeg_prefix" >&2
  apt-get -q source "ffmpeg=$ffmpeg_version" >> "$log" 2>&1 ||
    fail "apt-get source ffmpeg=$ffmpeg_version failed (the installed libavcodec-dev is not Debian's current version?)"
  local upstream=${ffmpeg_version#*:}
  mkdir -p ffmpeg-build
  (cd ffmpeg-build && "../ffmpeg-${upstream%-*}/configure" --prefix="$stage" --enable-cross-compile --cross-prefix=$triplet- \
    --cc=$triplet-gcc-win32 --arch=x86_64 --target-os=mingw32 --enable-static --disable-shared --disable-debug \
    --disable-programs --disable-doc --disable-everything --disable-autodetect --enable-w32threads \
    --disable-network --disable-avdevice --disable-avfilter --disable-swscale --disable-postproc \
    --enable-swresample --enable-protocol=file --enable-demuxer=mov \
    --enable-decoder=aac,ac3,eac3,alac,flac,mp2,mp3float,opus,vorbis,'pcm_*' \
    --enable-parser=aac,ac3,flac,mpegaudio,opus,vorbis) >> "$log" 2>&1 || fail "configuring FFmpeg failed"
  make -C ffmpeg-build -j"$jobs" install >> "$log" 2>&1 || fail "building FFmpeg failed"
}

build_set "$prefix" aac_libraries
build_set "$ffmpeg_prefix" ffmpeg_libraries
echo "$prefix;$ffmpeg_prefix"
