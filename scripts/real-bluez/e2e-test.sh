#!/usr/bin/env bash
# The BlueZ transport end to end against the real bluetoothd, run inside the real-bluez machine: the
# peripheral bridge serves one lab device at a time on hci1 and `halvora --transport bluez` on hci0 meets it
# over the real stack. Each step prints one line "e2e: NAME: passed|FAILED|skipped (SECONDS s) [what]".
#
#   scripts/real-bluez.sh -- scripts/real-bluez/e2e-test.sh BUILD_DIR [STEP...]
#
# Steps (all by default, in this order):
#   scan             the blood-pressure monitor is listed
#   rescan           a device bluetoothd already holds is listed in the first detection round of a new scan
#   connect          connect and wait until ready, three times in a row (each link ends at the CLI's exit:
#                    every connect after the first is a reconnect; readiness waits for the services and
#                    characteristics bluetoothd announces after ServicesResolved)
#   disconnect       bluetoothd shows the link down after the CLI disconnected
#   measure          `measure bp` gives a result; the cuff pressures rise then fall (notifications in
#                    order with [GATT] Channels = 1: reorderings are counted)
#   reconnect-data   a second `measure bp` right after the first gets as many cuff readings (values sent
#                    right after a reconnect, while bluetoothd's notify session of the last link is
#                    still on, are delivered)
#   history          an RM830 bracelet's stored heart-rate history is downloaded
#   order            1000 numbered notifications back to back arrive, every one and in order (one ATT
#                    bearer; with HALVORA_REAL_BLUEZ_GATT_CHANNELS=3 this step fails)
#   power            Bluetooth switched off and on (Adapter1.Powered) during a scan: the kit notices both,
#                    and a connect after it succeeds
#   absent-device    a connect to a device that stopped advertising waits and succeeds when it is back
#   demo             `halvora demo` with the blood-pressure monitor in range, then with the RM830 bracelet:
#                    each is found, connected and runs its demo step
# Exits 0 when every step passed (or was skipped), 1 otherwise, 77 when the programs are not built.
set -uo pipefail

build="${1:?usage: e2e-test.sh BUILD_DIR [STEP...]}"
shift
steps=("$@")
[ ${#steps[@]} -gt 0 ] || steps=(scan rescan connect disconnect measure reconnect-data history order power absent-device demo)

bridge_bin="$build/tools/real-bluez-peripheral/halvora-real-bluez-peripheral"
bench_bin="$build/tools/real-bluez-peripheral/halvora-real-bluez-bench"
order_count=1000
cli_bin="$build/tools/halvora/halvora"
bp_class=HalvoraSDKHeartDevice
bp_kind=0
bracelet_class=HalvoraSDKBraceletRM830
bridge_ready_timeout_s=30
link_down_timeout_s=10
connects_in_a_row=3
# A connect waits this long for the device that stopped advertising before the bridge comes back.
absent_for_s=8
adapter_path=/org/bluez/hci0

exit_cannot_run=77
for program in "$bridge_bin" "$cli_bin" "$bench_bin"; do
  [ -x "$program" ] || { echo "e2e: cannot run: $program is not built"; exit "$exit_cannot_run"; }
done

work="$(mktemp -d)"
bridge_pid=""
failures=0
export HALVORA_LAB_STATE=""

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
  if [ -n "$bridge_pid" ]; then
    kill "$bridge_pid" 2>/dev/null || true
    wait "$bridge_pid" 2>/dev/null || true
  fi
  bridge_pid=""
  forget_bridged_devices
}
finish() {
  stop_bridge
  rm -rf "$work"
}
trap finish EXIT

# Serves CLASS on hci1 (further arguments go to the bridge) and waits for its "ready"; the bridge's log is
# $work/bridge.log.
start_bridge() {
  stop_bridge
  : >"$work/bridge.out"
  "$bridge_bin" --class "$@" --verbose >"$work/bridge.out" 2>>"$work/bridge.log" &
  bridge_pid=$!
  local _
  for _ in $(seq 1 $((bridge_ready_timeout_s * 10))); do
    grep -qx ready "$work/bridge.out" && return 0
    kill -0 "$bridge_pid" 2>/dev/null || return 1
    sleep 0.1
  done
  return 1
}

cli() { "$cli_bin" --transport bluez --adapter hci0 "$@"; }

now_ms() { date +%s%3N; }

# Runs one step: report NAME STATUS DETAIL, with the step's time.
step_started=0
begin() { step_started=$(now_ms); : >"$work/step.log"; }
report() {
  local name="$1" status="$2" detail="${3:-}" ms=$(($(now_ms) - step_started))
  printf 'e2e: %s: %s (%d.%01d s)%s\n' "$name" "$status" $((ms / 1000)) $((ms % 1000 / 100)) "${detail:+ $detail}"
  if [ "$status" = FAILED ]; then
    failures=$((failures + 1))
    echo "--- $name: output"
    tail -n 40 "$work/step.log"
    echo "--- bridge log (last lines)"
    tail -n 10 "$work/bridge.log" 2>/dev/null || true
  fi
}

# The bridged device's object on hci0 (the only peripheral on the emulated radio).
device_path() {
  busctl --system tree --list org.bluez 2>/dev/null | grep -m1 -E "^$adapter_path/dev_[0-9A-F_]+$"
}
device_connected() {
  busctl --system get-property org.bluez "$1" org.bluez.Device1 Connected 2>/dev/null | grep -qx 'b true'
}

# Cuff pressures of a `measure bp` output, one a line.
cuff_pressures() { sed -n 's/^cuff pressure \([0-9]*\) mmHg$/\1/p' "$1"; }
# How many readings break "rise, then fall" (0 when the notifications came in order).
count_reorderings() {
  awk 'BEGIN { peak = -1; falling = 0; bad = 0 }
       { if (!falling && $1 < peak) falling = 1
         else if (falling && $1 > prev) bad++
         if ($1 > peak) peak = $1
         prev = $1 }
       END { print bad }'
}

step_scan() {
  begin
  start_bridge "$bp_class" || { report scan FAILED "the bridge was not ready"; return; }
  cli --json scan --seconds 8 >"$work/step.log" 2>&1
  if grep -q "\"event\":\"scan\".*\"type\":${bp_kind}[,}]" "$work/step.log"; then
    report scan passed
  else
    report scan FAILED "no blood-pressure monitor listed"
  fi
}

# A device bluetoothd already holds when a scan starts is listed in the manager's first detection round of
# the new scan (with a real controller's duplicate filter it would otherwise wait for a changed report; the
# emulated controller reports every advertisement, so this shows the path, not the filter).
step_rescan() {
  begin
  start_bridge "$bp_class" || { report rescan FAILED "the bridge was not ready"; return; }
  cli --json scan --seconds 5 >"$work/step.log" 2>&1
  cli --json scan --seconds 5 >"$work/rescan.log" 2>&1
  local listed
  listed=$(grep "\"event\":\"scan\".*\"type\":${bp_kind}[,}]" "$work/rescan.log" | head -1 | sed -n 's/.*"time":\([0-9.]*\).*/\1/p')
  if [ -n "$listed" ] && awk -v t="$listed" 'BEGIN { exit !(t <= 4.5) }'; then
    report rescan passed "listed again at $(printf '%.1f' "$listed") s of a new scan"
  else
    cat "$work/rescan.log" >>"$work/step.log"
    report rescan FAILED "not listed in the first round of a new scan${listed:+ (at $listed s)}"
  fi
}

step_connect() {
  begin
  start_bridge "$bp_class" || { report connect FAILED "the bridge was not ready"; return; }
  local i
  for i in $(seq 1 "$connects_in_a_row"); do
    if ! cli connect "$bp_kind" --timeout 30 >>"$work/step.log" 2>&1; then
      report connect FAILED "connect $i of $connects_in_a_row"
      return
    fi
  done
  report connect passed "$connects_in_a_row connects in a row, each ready"
}

step_disconnect() {
  begin
  start_bridge "$bp_class" || { report disconnect FAILED "the bridge was not ready"; return; }
  cli connect "$bp_kind" --timeout 30 >"$work/step.log" 2>&1 || { report disconnect FAILED "connect failed"; return; }
  local path _
  path="$(device_path)"
  [ -n "$path" ] || { report disconnect FAILED "bluetoothd holds no device"; return; }
  for _ in $(seq 1 $((link_down_timeout_s * 10))); do
    device_connected "$path" || { report disconnect passed "$path down"; return; }
    sleep 0.1
  done
  report disconnect FAILED "$path still connected after $link_down_timeout_s s"
}

measure_bp() { cli measure bp >"$1" 2>&1 && grep -q '^result: [0-9]*/[0-9]* mmHg' "$1"; }

step_measure() {
  begin
  start_bridge "$bp_class" || { report measure FAILED "the bridge was not ready"; return; }
  measure_bp "$work/measure1.log" || { cp "$work/measure1.log" "$work/step.log"; { report measure FAILED; return; }; }
  local readings reorderings
  readings=$(cuff_pressures "$work/measure1.log" | wc -l)
  reorderings=$(cuff_pressures "$work/measure1.log" | count_reorderings)
  if [ "$readings" -eq 0 ] || [ "$reorderings" -ne 0 ]; then
    cp "$work/measure1.log" "$work/step.log"
    report measure FAILED "$readings cuff readings, $reorderings out of order"
  else
    report measure passed "$(grep -m1 '^result:' "$work/measure1.log"); $readings cuff readings, 0 out of order"
  fi
}

step_reconnect_data() {
  begin
  [ -f "$work/measure1.log" ] || step_measure >/dev/null
  measure_bp "$work/measure2.log" || { cp "$work/measure2.log" "$work/step.log"; { report reconnect-data FAILED; return; }; }
  local first second
  first=$(cuff_pressures "$work/measure1.log" | wc -l)
  second=$(cuff_pressures "$work/measure2.log" | wc -l)
  if [ "$second" -eq "$first" ] && [ "$(cuff_pressures "$work/measure2.log" | head -1)" = "$(cuff_pressures "$work/measure1.log" | head -1)" ]; then
    report reconnect-data passed "$second cuff readings over the new link, as over the first"
  else
    cp "$work/measure2.log" "$work/step.log"
    report reconnect-data FAILED "$second cuff readings over the new link, $first over the first"
  fi
}

step_history() {
  begin
  start_bridge "$bracelet_class" || { report history FAILED "the bridge was not ready"; return; }
  cli rm830 heart-history >"$work/step.log" 2>&1 || { report history FAILED "halvora rm830 heart-history failed"; return; }
  local records
  records=$(grep -cE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} +[0-9]+$' "$work/step.log")
  if [ "$records" -gt 0 ]; then report history passed "$records heart-rate records"; else report history FAILED "no records"; fi
}

# Numbered notifications back to back through the kit's transport: every one delivered, in order. With
# several ATT bearers (HALVORA_REAL_BLUEZ_GATT_CHANNELS=3) bluetoothd delivers some out of order.
step_order() {
  begin
  start_bridge "$bp_class" --burst "$order_count" || { report order FAILED "the bridge was not ready"; return; }
  if "$bench_bin" --name "Bluetooth BP" --count "$order_count" --timeout 60 >"$work/step.log" 2>&1; then
    report order passed "$(sed -n 's/^bench: //p' "$work/step.log" | cut -d';' -f1)"
  else
    report order FAILED "$(sed -n 's/^bench: //p' "$work/step.log")"
  fi
}

set_powered() { busctl --system set-property org.bluez "$adapter_path" org.bluez.Adapter1 Powered b "$1"; }

step_power() {
  begin
  start_bridge "$bp_class" || { report power FAILED "the bridge was not ready"; return; }
  cli --verbose --json scan --seconds 18 >"$work/step.log" 2>&1 &
  local scan_pid=$!
  sleep 4
  set_powered false
  sleep 3
  set_powered true
  wait "$scan_pid"
  # The kit reports "PoweredOff" and then "PoweredOn" again; the manager drops its scan at power off (an
  # application scans again), so the device is then met by a new connect.
  local off_line on_line
  off_line=$(grep -n -m1 'Device BLE PoweredOff' "$work/step.log" | cut -d: -f1)
  on_line=$(awk -v off="${off_line:-0}" 'NR > off && /Device BLE PoweredOn/ { print NR; exit }' "$work/step.log")
  if [ -z "$off_line" ] || [ -z "$on_line" ]; then
    report power FAILED "off noticed: ${off_line:+yes}, on again: ${on_line:+yes}"
    return
  fi
  if cli connect "$bp_kind" --timeout 30 >>"$work/step.log" 2>&1; then
    report power passed "off and on noticed, connected after"
  else
    report power FAILED "off and on noticed, no connect after"
  fi
}

step_absent_device() {
  begin
  start_bridge "$bp_class" || { report absent-device FAILED "the bridge was not ready"; return; }
  cli connect "$bp_kind" --timeout 30 >"$work/step.log" 2>&1 || { report absent-device FAILED "first connect failed"; return; }
  stop_bridge
  local started
  started=$(now_ms)
  cli --verbose connect "$bp_kind" --timeout 60 >>"$work/step.log" 2>&1 &
  local connect_pid=$!
  sleep "$absent_for_s"
  if ! kill -0 "$connect_pid" 2>/dev/null; then
    wait "$connect_pid"
    { report absent-device FAILED "the connect ended while the device was away"; return; }
  fi
  start_bridge "$bp_class" || { report absent-device FAILED "the bridge was not ready again"; return; }
  if wait "$connect_pid"; then
    local ms=$(($(now_ms) - started))
    report absent-device passed "ready $((ms / 1000)) s after asking, the device away for $absent_for_s s"
  else
    report absent-device FAILED "the connect failed after the device came back"
  fi
}

# `halvora demo` over BlueZ runs every device in range, one of each kind: here the one the bridge serves.
step_demo() {
  begin
  local class results=""
  for class in "$bp_class" "$bracelet_class"; do
    start_bridge "$class" || { report demo FAILED "the bridge was not ready for $class"; return; }
    if ! cli demo >"$work/step.log" 2>&1; then
      report demo FAILED "halvora demo failed with $class in range"
      return
    fi
    local row
    row=$(grep -E "^$class +yes +yes +" "$work/step.log" | sed -E "s/^$class +yes +yes +//; s/ +[0-9.]+ s$//")
    [ -n "$row" ] || { report demo FAILED "no completed row for $class"; return; }
    results+="${results:+; }$class: $row"
  done
  report demo passed "$results"
}

for name in "${steps[@]}"; do
  case "$name" in
    scan) step_scan ;;
    rescan) step_rescan ;;
    connect) step_connect ;;
    disconnect) step_disconnect ;;
    measure) step_measure ;;
    reconnect-data) step_reconnect_data ;;
    history) step_history ;;
    order) step_order ;;
    power) step_power ;;
    absent-device) step_absent_device ;;
    demo) step_demo ;;
    *) echo "e2e: unknown step $name"; failures=$((failures + 1)) ;;
  esac
done
stop_bridge
if [ "$failures" -eq 0 ]; then
  echo "e2e: passed"
  exit 0
fi
echo "e2e: $failures step(s) FAILED"
exit 1
