#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need.
# Idempotent: packages already present are left alone.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config ccache
  clang lld libclang-rt-dev
  libicu-dev libssl-dev libsimdjson-dev libexiv2-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsecret-1-dev libibus-1.0-dev
  # The keyring and input-source tests run their own session bus, Secret
  # Service and ibus-daemon.
  gnome-keyring libsecret-tools ibus dbus-daemon libglib2.0-bin
  python3
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ "${#missing[@]}" -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
fi
