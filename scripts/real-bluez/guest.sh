#!/bin/bash
# Second stage of the real-bluez machine, run as its process 1 in the overlay root: starts the real
# Bluetooth stack (kernel modules, two btvirt LE controllers on one emulated radio, a system bus,
# bluetoothd), waits for both adapters to be powered, runs the job's command and reports its status.
#
# Channels to the host: ttyS0 carries the command's output, ttyS1 is the console (kernel, this script,
# btvirt, dbus-daemon, bluetoothd), ttyS2 the status lines "ready", "exit N" or "setup-failed TEXT".
job="$1"
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
status_port=/dev/ttyS2
console=/dev/ttyS1
exec </dev/null >"$console" 2>&1

# In load order. The kernel's SMP asks for "ecdh-nist-p256" (whose key generation needs the default RNG,
# drbg, which needs "ctr(aes)", SHA-512 and the jitter entropy source, which needs SHA3) and "cmac(aes)";
# btvirt and bluetoothd reach "ecb(aes)" and "cmac(aes)" through AF_ALG sockets. With the autoloader off
# none of them is loaded on demand: btvirt then fails to create its second controller and the first
# one's HCI reset times out.
bluetooth_modules=(sha3_generic jitterentropy_rng sha512_generic ctr drbg ecc ecdh_generic ecb cmac af_alg algif_hash algif_skcipher
                   rfkill crc16 bluetooth hci_vhci)
adapters=(hci0 hci1)
setup_timeout_s=120

halt_machine() {
  sync
  echo b >/proc/sysrq-trigger
  sleep 10
}

setup_failed() {
  echo "real-bluez: $*"
  echo "setup-failed $*" >"$status_port"
  halt_machine
}

log_step() { echo "real-bluez: $(cut -d' ' -f1 /proc/uptime) s: $*"; }

mount_system() {
  mount -t tmpfs -o mode=0755 run /run
  mkdir -p /dev/pts /dev/shm /run/dbus /run/lock
  mount -t devpts -o gid=5,mode=620,ptmxmode=666 devpts /dev/pts
  mount -t tmpfs -o mode=1777 shm /dev/shm
  hostname real-bluez
  ip link set lo up 2>/dev/null || busybox ip link set lo up
}

# Loads the Bluetooth stack and the crypto it needs in one ordered call: the autoloader is off (see init).
load_modules() {
  modprobe -a "${bluetooth_modules[@]}" || setup_failed "modprobe ${bluetooth_modules[*]} failed"
}

wait_for() {
  local what="$1" deadline=$((SECONDS + setup_timeout_s))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$deadline" ] || setup_failed "timed out waiting for $what"
    sleep 0.05
  done
}

start_bus() {
  dbus-daemon --config-file="$here/system-bus.conf" --nofork --nopidfile &
  wait_for "the system bus" test -S /run/dbus/system_bus_socket
}

controllers_present() { [ -e /sys/class/bluetooth/hci0 ] && [ -e /sys/class/bluetooth/hci1 ]; }

start_controllers() {
  btvirt -L -l${#adapters[@]} &
  wait_for "btvirt's controllers" controllers_present
}

adapter_powered() {
  busctl --system get-property org.bluez "/org/bluez/$1" org.bluez.Adapter1 Powered 2>/dev/null | grep -qx 'b true'
}

all_adapters_powered() {
  local adapter
  for adapter in "${adapters[@]}"; do adapter_powered "$adapter" || return 1; done
}

start_bluetoothd() {
  local config="$here/main.conf" channels
  channels="$(cat "$job/gatt-channels" 2>/dev/null || echo 1)"
  if [ "$channels" != 1 ]; then
    config=/tmp/main.conf
    sed "s/^Channels = .*/Channels = $channels/" "$here/main.conf" >"$config"
  fi
  /usr/libexec/bluetooth/bluetoothd -n -f "$config" &
  wait_for "bluetoothd's adapters to be powered" all_adapters_powered
}

run_job() {
  local status=0
  # shellcheck disable=SC1091
  . "$job/environment"
  export PATH="$PATH:/usr/local/sbin:/usr/sbin:/sbin"
  echo ready >"$status_port"
  # Through a pipe, so that the command sees no terminal (no pager, no colours), as under CI.
  (cd "$(cat "$job/directory")" && eval "$(cat "$job/command")") </dev/null 2>&1 | cat >/dev/ttyS0
  status="${PIPESTATUS[0]}"
  log_step "command exited with $status"
  echo "exit $status" >"$status_port"
}

raw_ports() {
  local port
  for port in /dev/ttyS0 /dev/ttyS1 /dev/ttyS2; do stty -F "$port" raw -echo; done
}

raw_ports
mount_system
log_step "root mounted"
load_modules
log_step "modules loaded"
start_bus
start_controllers
log_step "controllers up"
start_bluetoothd
log_step "adapters powered"
run_job
halt_machine
