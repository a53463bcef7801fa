#!/usr/bin/env bash
# Runs a command against a private, headless IBus and tears it down again:
#   with_private_ibus.sh COMMAND [ARG ...]
# A session bus and an ibus-daemon of their own run in the background, with
# HOME and the XDG folders in a scratch folder and GSettings on the keyfile
# backend there, so nothing reaches the user's own session or settings. Both
# daemons are stopped by the PIDs kept here, whatever the command's outcome.
set -euo pipefail

scratch=$(mktemp -d "${TMPDIR:-/tmp}/tessaro-ibus.XXXXXX")
bus_pid=""
ibus_pid=""

stop() {
  local pid=$1 i
  [ -n "$pid" ] || return 0
  kill "$pid" 2>/dev/null || return 0
  for i in $(seq 1 40); do
    kill -0 "$pid" 2>/dev/null || return 0
    sleep 0.05
  done
  kill -KILL "$pid" 2>/dev/null || true
}

teardown() {
  # ibus-daemon is this shell's child: reap it; the bus daemon forked away.
  stop "$ibus_pid"
  [ -z "$ibus_pid" ] || wait "$ibus_pid" 2>/dev/null || true
  stop "$bus_pid"
  rm -rf "$scratch"
}
trap teardown EXIT
trap 'exit 130' INT TERM

mkdir -p "$scratch"/{home,config,data,cache,runtime}
chmod 700 "$scratch/runtime"
export HOME="$scratch/home"
export XDG_CONFIG_HOME="$scratch/config" XDG_DATA_HOME="$scratch/data"
export XDG_CACHE_HOME="$scratch/cache" XDG_RUNTIME_DIR="$scratch/runtime"
export GSETTINGS_BACKEND=keyfile
unset DISPLAY WAYLAND_DISPLAY

bus_info=$(dbus-daemon --session --fork --print-address=1 --print-pid=1 \
  --address="unix:path=$scratch/runtime/bus")
export DBUS_SESSION_BUS_ADDRESS=$(sed -n 1p <<<"$bus_info")
bus_pid=$(sed -n 2p <<<"$bus_info")

export IBUS_ADDRESS="unix:path=$scratch/runtime/ibus"
ibus-daemon --panel=disable --emoji-extension=disable --address="$IBUS_ADDRESS" --cache=none \
  </dev/null >"$scratch/ibus-daemon.log" 2>&1 &
ibus_pid=$!

ready=0
for _ in $(seq 1 200); do
  if ibus list-engine >/dev/null 2>&1; then
    ready=1
    break
  fi
  kill -0 "$ibus_pid" 2>/dev/null || break
  sleep 0.05
done
if [ "$ready" -ne 1 ]; then
  echo "with_private_ibus: ibus-daemon did not become ready" >&2
  cat "$scratch/ibus-daemon.log" >&2
  exit 1
fi

"$@"
