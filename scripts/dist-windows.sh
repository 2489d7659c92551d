#!/usr/bin/env bash
# Packs the Windows build for host authors: the DLLs and zorv-decode.exe (without debug
# information), the public header and README-windows.md. Usage: dist-windows.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:-build-windows}" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
version=$(sed -n 's/^project(zorv_aac VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
name=zorv_aac-$version-windows-x64
stage=$build/dist/$name
rm -rf "$build/dist" "$build/$name.zip"
mkdir -p "$stage/include/zorv"
for file in zorv_aac.dll zorv_ffmpeg.dll tarnbase.dll zorv-decode.exe; do
  x86_64-w64-mingw32-strip -o "$stage/$file" "$build/bin/$file"
done
cp "$root/include/zorv/decode.h" "$stage/include/zorv/"
cp "$root/README-windows.md" "$stage/README.md"
(cd "$build/dist" && zip -qr "$build/$name.zip" "$name")
echo "$build/$name.zip"
