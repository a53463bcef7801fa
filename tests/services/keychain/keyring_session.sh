#!/usr/bin/env bash
# Runs the keychain tests against a real gnome-keyring on a private session
# bus, in a throw-away home folder:
#   keyring_session.sh TESSARO_CLI TEST_BINARY [ARGS...]
# The bus and the daemon are stopped by their process ids on every way out,
# a failing or crashing test included.
set -u
tessaro=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
tmp=$(mktemp -d)
bus_pid=
keyring_pid=

cleanup() {
  [ -n "$keyring_pid" ] && kill "$keyring_pid" 2>/dev/null && wait "$keyring_pid" 2>/dev/null
  [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

export HOME=$tmp/home XDG_DATA_HOME=$tmp/home/data XDG_CONFIG_HOME=$tmp/home/config
export XDG_RUNTIME_DIR=$tmp/run XDG_CACHE_HOME=$tmp/home/cache
mkdir -p "$HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset DISPLAY WAYLAND_DISPLAY GNOME_KEYRING_CONTROL SSH_AUTH_SOCK

dbus-daemon --config-file="$here/session_bus.conf" --fork --print-address=3 --print-pid=4 \
  3>"$tmp/bus.address" 4>"$tmp/bus.pid" || { echo "keyring: cannot start dbus-daemon" >&2; exit 1; }
bus_pid=$(cat "$tmp/bus.pid")
export DBUS_SESSION_BUS_ADDRESS=$(head -n 1 "$tmp/bus.address")

failed=0
# With nothing on the bus yet, a lookup finds no keychain service at all.
out=$("$tessaro" call passForGenericItem:account:error: '"Mail"' '"bob"')
expected='{"error": {"domain": "NSCocoaErrorDomain", "code": -25291, "message": "No keychain is available. You may need to restart your computer."}}'
if [ "$out" != "$expected" ]; then
  printf 'FAIL no Secret Service on the bus\n  expected: %s\n  actual:   %s\n' "$expected" "$out"
  failed=1
fi

# The login keyring is created (or unlocked) with the password on stdin.
printf 'login password' | gnome-keyring-daemon --foreground --unlock --components=secrets \
  >"$tmp/keyring.out" 2>"$tmp/keyring.err" &
keyring_pid=$!
for _ in $(seq 400); do  # up to 20 s on a loaded machine
  if gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
      --method org.freedesktop.DBus.NameHasOwner org.freedesktop.secrets 2>/dev/null | grep -q true; then
    break
  fi
  kill -0 "$keyring_pid" 2>/dev/null || break
  sleep 0.05
done
if ! gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.NameHasOwner org.freedesktop.secrets 2>/dev/null | grep -q true; then
  echo "keyring: gnome-keyring-daemon did not come up" >&2
  cat "$tmp/keyring.err" >&2
  exit 1
fi

"$@" || failed=1
exit $failed
