#!/usr/bin/env bash
# Installs what building and testing zorv_aac needs on Debian 12, and only what is missing.
# Run as root. Safe to run again: a machine that has everything is left untouched.
set -euo pipefail

if [ "$(id -u)" -ne 0 ]; then
  echo "setup-debian.sh: run as root (it installs Debian packages)" >&2
  exit 2
fi

# libfdk-aac lives in Debian's non-free component. Add it in a sources file of our own rather
# than editing the system's list.
nonfree=/etc/apt/sources.list.d/zorv-nonfree.sources
need_update=0
if ! apt-cache policy libfdk-aac-dev 2>/dev/null | grep -q 'Candidate: [0-9]'; then
  if [ ! -f "$nonfree" ]; then
    . /etc/os-release
    codename=${VERSION_CODENAME:-bookworm}
    cat > "$nonfree" <<SRC
Types: deb
URIs: http://deb.debian.org/debian
Suites: ${codename} ${codename}-updates
Components: non-free
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
  fi
  need_update=1
fi

packages=(
  build-essential cmake ninja-build pkg-config
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libfaad-dev libfdk-aac-dev
  ffmpeg faad libavformat-dev libavcodec-dev libavutil-dev libswresample-dev
  clang libclang-rt-14-dev valgrind
  time
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup-debian.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
if [ "$need_update" -eq 1 ] || [ ! -d /var/lib/apt/lists ] || [ -z "$(ls -A /var/lib/apt/lists 2>/dev/null | grep -v lock)" ]; then
  apt-get update -qq
fi
if ! apt-get install -y -qq --no-install-recommends "${missing[@]}"; then
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
