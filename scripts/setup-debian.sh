#!/usr/bin/env bash
# Installs what building and testing zorv_aac needs on Debian 12, and only what is missing.
# Run as root. Safe to run again: a machine that has everything is left untouched.
set -euo pipefail

if [ "$(id -u)" -ne 0 ]; then
  echo "setup-debian.sh: run as root (it installs Debian packages)" >&2
  exit 2
fi

apt_get() { apt-get -o DPkg::Lock::Timeout=900 "$@"; }

. /etc/os-release
codename=${VERSION_CODENAME:-bookworm}

# The mirror and keyring of the system's own main-component entry, so that the entries we add
# (in files of our own, never by editing the system's list) use whatever the machine already
# trusts. Prints "URI KEYRING"; KEYRING is empty when the entry names none.
system_mirror() {
  local target uri entry file index keyring=""
  target=$(apt-get indextargets --format '$(REPO_URI) $(SOURCESENTRY)' \
    "Release: $codename" "Component: main" "Identifier: Packages" | head -n1)
  [ -n "$target" ] || { echo "setup-debian.sh: no $codename main entry in the apt sources" >&2; return 1; }
  uri=${target%% *}
  entry=${target#* }
  file=${entry%:*}
  index=${entry##*:}
  if [[ $file == *.sources ]]; then
    # deb822: the index counts stanzas.
    keyring=$(awk -v want="$index" 'BEGIN { n = 1; RS = "" } n++ == want' "$file" |
      sed -n 's/^Signed-By:[[:space:]]*\(\/[^[:space:]]*\)$/\1/p' | head -n1)
  else
    # One-line format: the index is the line number.
    keyring=$(sed -n "${index}p" "$file" | sed -n 's/.*signed-by=\([^] ]*\).*/\1/p')
  fi
  echo "$uri $keyring"
}

# Writes an apt sources file of ours when its content differs; returns 0 when it wrote.
write_sources() {
  local path=$1 types=$2 components=$3 uri keyring text
  read -r uri keyring < <(system_mirror)
  text="Types: $types
URIs: $uri
Suites: $codename $codename-updates
Components: $components"
  [ -n "$keyring" ] && text+="
Signed-By: $keyring"
  if [ -f "$path" ] && [ "$(cat "$path")" = "$text" ]; then return 1; fi
  printf '%s\n' "$text" > "$path"
}

need_update=0
# libfdk-aac lives in Debian's non-free component. (Output captured first: grep -q closing the
# pipe early would fail the pipeline under pipefail.)
if ! dpkg-query -W -f='${Status}' libfdk-aac-dev 2>/dev/null | grep -q 'install ok installed' &&
  ! grep -q 'Candidate: [0-9]' <<< "$(apt-cache policy libfdk-aac-dev 2>/dev/null)"; then
  write_sources /etc/apt/sources.list.d/zorv-nonfree.sources deb non-free || true
  need_update=1
fi
# The Windows build compiles FAAD2, FDK AAC and FFmpeg from Debian's source packages.
if [ -z "$(apt-cache showsrc faad2 2>/dev/null)" ] || [ -z "$(apt-cache showsrc fdk-aac 2>/dev/null)" ]; then
  write_sources /etc/apt/sources.list.d/zorv-src.sources deb-src "main non-free" || true
  need_update=1
fi

packages=(
  build-essential cmake ninja-build pkg-config dpkg-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libfaad-dev libfdk-aac-dev
  ffmpeg faad libavformat-dev libavcodec-dev libavutil-dev libswresample-dev
  clang libclang-rt-14-dev valgrind
  time
  # The Windows build: MinGW-w64 with Win32 threads, nasm for FFmpeg's assembly, Wine to run
  # it, zip for the package.
  gcc-mingw-w64-x86-64-win32 g++-mingw-w64-x86-64-win32 nasm wine wine64 zip
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

export DEBIAN_FRONTEND=noninteractive
if [ "$need_update" -eq 1 ] || [ ! -d /var/lib/apt/lists ] ||
  [ -z "$(ls -A /var/lib/apt/lists 2>/dev/null | grep -v lock)" ]; then
  apt_get update -qq
fi
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup-debian.sh: installing ${missing[*]}"
if ! apt_get install -y -qq --no-install-recommends "${missing[@]}"; then
  apt_get update -qq
  apt_get install -y -qq --no-install-recommends "${missing[@]}"
fi
