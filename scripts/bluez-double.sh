#!/usr/bin/env bash
# Tries the kit's BlueZ transport without Bluetooth hardware: a private D-Bus bus (dbus-daemon) with
# halvora-bluez-double on it, a stand-in for bluetoothd that plays the lab's virtual devices.
#
#   scripts/bluez-double.sh start [double options]   starts both; prints the line to export
#   scripts/bluez-double.sh stop                     ends both
#   scripts/bluez-double.sh run [double options] -- COMMAND...
#                                                    start, COMMAND with DBUS_SYSTEM_BUS_ADDRESS set, stop;
#                                                    exits with COMMAND's status
#
# Double options: --lab FILE (default: the tool's default lab), --seed N, --adapter NAME, --no-adapter,
# --powered-off, --connect-error NAME[:MESSAGE], --reply-delay-ms N, --garbage, --verbose.
# HALVORA_BLUEZ_DOUBLE names the double's binary (default: the first build folder that has one);
# HALVORA_BLUEZ_DOUBLE_STATE the folder of a started bus (default: $TMPDIR/halvora-bluez-double).
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
conf="$root/tools/bluez-double/private-bus.conf"
state="${HALVORA_BLUEZ_DOUBLE_STATE:-${TMPDIR:-/tmp}/halvora-bluez-double}"

die() { echo "bluez-double: $*" >&2; exit 1; }

find_double() {
  if [ -n "${HALVORA_BLUEZ_DOUBLE:-}" ]; then echo "$HALVORA_BLUEZ_DOUBLE"; return; fi
  for candidate in "$root"/build/default/tools/bluez-double/halvora-bluez-double \
                   "$root"/build*/tools/bluez-double/halvora-bluez-double \
                   "$root"/build/*/tools/bluez-double/halvora-bluez-double; do
    if [ -x "$candidate" ]; then echo "$candidate"; return; fi
  done
  die "halvora-bluez-double not found: build the project (cmake --build build/default) or set HALVORA_BLUEZ_DOUBLE"
}

running() { [ -f "$1" ] && kill -0 "$(cat "$1")" 2>/dev/null; }

start() {
  local double address
  double="$(find_double)"
  command -v dbus-daemon >/dev/null || die "dbus-daemon is missing (scripts/install-deps.sh installs it)"
  if running "$state/double.pid"; then die "already running; stop it first (export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$state/bus)"; fi
  mkdir -p "$state"
  rm -f "$state/bus"
  address="unix:path=$state/bus"
  dbus-daemon --config-file="$conf" --address="$address" --fork --nopidfile --print-pid >"$state/bus.pid" \
    || die "dbus-daemon did not start"
  DBUS_SYSTEM_BUS_ADDRESS="$address" "$double" "$@" >"$state/double.out" 2>"$state/double.log" &
  echo $! >"$state/double.pid"
  for _ in $(seq 1 200); do
    if grep -qx ready "$state/double.out" 2>/dev/null; then
      echo "export DBUS_SYSTEM_BUS_ADDRESS=$address"
      return 0
    fi
    running "$state/double.pid" || break
    sleep 0.1
  done
  cat "$state/double.log" >&2 || true
  stop
  die "halvora-bluez-double did not start"
}

stop() {
  local pidfile
  for pidfile in "$state/double.pid" "$state/bus.pid"; do
    if running "$pidfile"; then
      kill "$(cat "$pidfile")" 2>/dev/null || true
      for _ in $(seq 1 50); do running "$pidfile" || break; sleep 0.1; done
      if running "$pidfile"; then kill -9 "$(cat "$pidfile")" 2>/dev/null || true; fi
    fi
  done
  rm -rf "$state"
}

run() {
  local options=() status=0
  while [ $# -gt 0 ] && [ "$1" != "--" ]; do options+=("$1"); shift; done
  [ $# -gt 0 ] || die "run: no command (run [double options] -- COMMAND...)"
  shift
  [ $# -gt 0 ] || die "run: no command (run [double options] -- COMMAND...)"
  state="$(mktemp -d "${TMPDIR:-/tmp}/halvora-bluez-double.XXXXXX")"
  trap stop EXIT
  start "${options[@]+"${options[@]}"}" >/dev/null
  DBUS_SYSTEM_BUS_ADDRESS="unix:path=$state/bus" "$@" || status=$?
  return "$status"
}

command="${1:-}"
[ $# -gt 0 ] && shift
case "$command" in
  start) start "$@" ;;
  stop) stop ;;
  run) run "$@" ;;
  *) echo "usage: $0 start [double options] | stop | run [double options] -- COMMAND..." >&2; exit 2 ;;
esac
