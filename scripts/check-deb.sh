#!/usr/bin/env bash
# Installs a halvora .deb on a fresh Debian 12 made with debootstrap (needs root and the Debian mirror),
# then checks what an application developer does first: pkg-config, find_package(HalvoraSDK) and the demo.
#   scripts/check-deb.sh build/release/halvora_*.deb [ROOT]      (ROOT: where the fresh system goes)
set -euo pipefail
deb=$(realpath "$1")
root=${2:-/tmp/halvora-deb-root}
here=$(cd "$(dirname "$0")/.." && pwd)
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}

if [ ! -x "$root/usr/bin/apt-get" ]; then
  echo "check-deb: making a fresh Debian 12 in $root"
  debootstrap --variant=minbase bookworm "$root" "$mirror" >/dev/null
fi
cp /etc/resolv.conf "$root/etc/resolv.conf"
mkdir -p "$root/check"
cp "$deb" "$root/check/halvora.deb"
cp "$here/tests/consumer/main.cpp" "$here/tests/consumer/CMakeLists.txt" "$root/check/"

mount --bind /proc "$root/proc"
trap 'umount "$root/proc" 2>/dev/null || true' EXIT
chroot "$root" /bin/bash -euo pipefail -c '
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends ./check/halvora.deb g++ cmake make >/dev/null
  cd /check
  flags=$(pkg-config --cflags --libs halvora)
  echo "pkg-config --cflags --libs halvora: $flags"
  g++ main.cpp $flags -o consumer-pc
  ./consumer-pc
  cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build build >/dev/null
  ./build/halvora_consumer
  halvora demo | tail -n 14
'
echo "check-deb: the package installs, builds an application both ways and runs the demo"
