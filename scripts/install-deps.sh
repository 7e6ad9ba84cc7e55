#!/usr/bin/env bash
# Installs the Debian packages the kit, its lab, CLI, tests and benchmarks need. Safe to run again:
# it installs only what is missing. Needs root (or sudo) the first time.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libcli11-dev nlohmann-json3-dev
  libsdbus-c++-dev libsystemd-dev dbus-daemon
  doxygen
  clang-14 libclang-rt-14-dev
  qemu-system-x86
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: everything is installed"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
