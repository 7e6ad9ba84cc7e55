#!/usr/bin/env bash
# The notification bench, run inside the real-bluez machine: the peripheral bridge (a blood-pressure
# monitor's GATT table) sends COUNT numbered notifications, back to back or one per INTERVAL_US, as soon as
# the kit switches notifications on; halvora-real-bluez-bench receives them through the kit's BlueZ
# transport and prints received / lost / out of order, the rate and the latency p50 and p99.
#
#   scripts/real-bluez.sh -- scripts/real-bluez/notify-bench.sh BUILD_DIR [COUNT [INTERVAL_US...]]
#
# One line per interval (default: 0, back to back). Exits 0 when every run got every frame in order.
set -uo pipefail

build="${1:?usage: notify-bench.sh BUILD_DIR [COUNT [INTERVAL_US...]]}"
count="${2:-1000}"
shift $(($# >= 2 ? 2 : 1))
intervals=("$@")
[ ${#intervals[@]} -gt 0 ] || intervals=(0)

bridge_bin="$build/tools/real-bluez-peripheral/halvora-real-bluez-peripheral"
bench_bin="$build/tools/real-bluez-peripheral/halvora-real-bluez-bench"
class=HalvoraSDKHeartDevice
name="Bluetooth BP"
bridge_ready_timeout_s=30
for program in "$bridge_bin" "$bench_bin"; do
  [ -x "$program" ] || { echo "notify-bench: cannot run: $program is not built"; exit 77; }
done

work="$(mktemp -d)"
bridge_pid=""
# A new bridge registers its GATT application anew, and bluetoothd may give it other handles than the last
# one had (when the old application is not gone yet). The central side would then keep the database it
# cached for the device (its hash is recomputed late) and miss the new bridge's notifications: it is told to
# forget the device, as it would a device it never met.
forget_bridged_devices() {
  local path
  for path in $(busctl --system tree --list org.bluez 2>/dev/null | grep -E '^/org/bluez/hci0/dev_[0-9A-F_]+$'); do
    busctl --system call org.bluez /org/bluez/hci0 org.bluez.Adapter1 RemoveDevice o "$path" 2>/dev/null || true
  done
}
stop_bridge() {
  if [ -n "$bridge_pid" ]; then kill "$bridge_pid" 2>/dev/null || true; wait "$bridge_pid" 2>/dev/null || true; fi
  bridge_pid=""
  forget_bridged_devices
}
trap 'stop_bridge; rm -rf "$work"' EXIT

status=0
for interval in "${intervals[@]}"; do
  : >"$work/bridge.out"
  "$bridge_bin" --class "$class" --burst "$count" --burst-interval-us "$interval" --verbose \
    >"$work/bridge.out" 2>"$work/bridge.log" &
  bridge_pid=$!
  for _ in $(seq 1 $((bridge_ready_timeout_s * 10))); do
    grep -qx ready "$work/bridge.out" && break
    sleep 0.1
  done
  printf 'notify-bench: interval %s us: ' "$interval"
  "$bench_bin" --name "$name" --count "$count" --timeout 120 || status=1
  stop_bridge
done
exit "$status"
