#!/usr/bin/env bash
# A first check of the bench, run inside the real-bluez machine: the peripheral bridge serves one lab
# device on hci1, and `halvora --transport bluez scan` on hci0 must list it.
#
#   scripts/real-bluez.sh -- scripts/real-bluez/scan-test.sh BUILD_DIR [CLASS [KIND]]
#
# CLASS is the lab class the bridge plays (default: the default lab's first device); KIND the device
# kind number the scan must list (default: any listed device passes, as the bridge's is the only
# peripheral on the emulated radio). Exits 0 when listed, 1 when not.
set -euo pipefail

build="${1:?usage: scan-test.sh BUILD_DIR [CLASS [KIND]]}"
class="${2:-}"
kind="${3:-}"
bridge="$build/tools/real-bluez-peripheral/halvora-real-bluez-peripheral"
cli="$build/tools/halvora/halvora"
scan_seconds=12
ready_timeout_s=30

work="$(mktemp -d)"
bridge_pid=""
finish() {
  if [ -n "$bridge_pid" ]; then kill "$bridge_pid" 2>/dev/null || true; wait "$bridge_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap finish EXIT

fail() {
  echo "scan-test: FAILED: $*"
  echo "--- bridge log"; cat "$work/bridge.log" 2>/dev/null || true
  echo "--- scan output"; cat "$work/scan.json" 2>/dev/null || true
  exit 1
}

"$bridge" ${class:+--class "$class"} --verbose >"$work/bridge.out" 2>"$work/bridge.log" &
bridge_pid=$!
for _ in $(seq 1 $((ready_timeout_s * 10))); do
  grep -qx ready "$work/bridge.out" && break
  kill -0 "$bridge_pid" 2>/dev/null || fail "the bridge stopped before it was ready"
  sleep 0.1
done
grep -qx ready "$work/bridge.out" || fail "the bridge was not ready after $ready_timeout_s s"

"$cli" --transport bluez --adapter hci0 --json scan --seconds "$scan_seconds" >"$work/scan.json" 2>&1 \
  || fail "halvora scan exited with $?"
if [ -n "$kind" ]; then
  grep -q "\"event\":\"scan\".*\"type\":${kind}[,}]" "$work/scan.json" || fail "no device of kind $kind listed"
else
  grep -q '"event":"scan"' "$work/scan.json" || fail "no device listed"
fi
echo "scan-test: passed"
grep -m1 '"event":"scan"' "$work/scan.json"
