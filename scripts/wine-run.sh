#!/usr/bin/env bash
# Runs a Windows program under Wine, headless, in a Wine prefix of the build's own (made on
# first use). The program's exit status passes through.
# Usage: wine-run.sh PREFIX PROGRAM [ARGUMENTS...]
set -euo pipefail
export WINEPREFIX=$1
shift
# No display, no debug channels, and no offer to install Mono or Gecko into a new prefix. Wine
# converts file names and arguments between UTF-16 and the locale's charset: UTF-8 keeps every
# name whole.
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" DISPLAY= WAYLAND_DISPLAY= LC_ALL=C.UTF-8
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  # Programs started side by side must not both build the prefix.
  flock "$WINEPREFIX/.lock" bash -c '[ -f "$WINEPREFIX/system.reg" ] || { wineboot --init && wineserver --wait; } >/dev/null 2>&1'
fi
exec wine "$@"
