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
# Wine 8.0's own process now and then dies of SIGSEGV (status 139) as a program exits soon after
# one of its threads failed to load a DLL: a 30-line program that does only that shows it in
# about 1 run of 100, after its last output. A fault of the Windows program never ends this way
# (it ends with its exception code), so such a run is repeated, up to twice.
for _ in 1 2 3; do
  status=0
  wine "$@" || status=$?
  [ $status -eq 139 ] || break
  echo "wine-run.sh: Wine itself crashed at exit (status 139); running again" >&2
done
exit $status
