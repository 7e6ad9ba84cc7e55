#!/usr/bin/env bash
# Runs a command against the real Linux Bluetooth stack, in a throw-away QEMU machine: Debian 12's own
# kernel (HCI, L2CAP, ATT, mgmt, hci_vhci), btvirt's two virtual LE controllers on one emulated radio
# (hci0 and hci1), a system bus and bluetoothd 5.66 with both adapters powered.
#
#   scripts/real-bluez.sh [options] [--] COMMAND...
#
# The machine sees the host's root file system read-only (over 9p, with a tmpfs overlay inside, so writes
# work and vanish), so build trees and test binaries run in it unchanged. COMMAND runs as root in the
# current directory with this environment (less the host's bus addresses), stdin from /dev/null;
# its stdout and stderr both arrive on this script's stdout.
#
# Options:
#   --smp N      virtual CPUs (default 1: others build on this machine; use 2 for timing runs)
#   --verbose    print the machine's console (kernel, bluetoothd, btvirt) on stderr afterwards
#   --prepare    only fetch and build the machine's files (kernel, initramfs, packages) and exit
#
# Exit status: COMMAND's; 77 when the machine cannot start here (no qemu-system-x86_64, packages not
# to be had, ...), so that CTest reports a skip; 70 when the machine started but the Bluetooth stack did
# not come up (its console is printed); 124 when HALVORA_REAL_BLUEZ_TIMEOUT ran out.
#
# Environment: HALVORA_REAL_BLUEZ_CACHE, the folder for the downloaded packages and the built kernel and
# initramfs (default: build/real-bluez in the repository); HALVORA_REAL_BLUEZ_MEMORY (default 1G);
# HALVORA_REAL_BLUEZ_TIMEOUT, seconds the whole run may take (default: no limit beyond the boot's);
# HALVORA_REAL_BLUEZ_LOGLEVEL, the kernel's console log level (default 4; 7 for every boot message);
# HALVORA_REAL_BLUEZ_GATT_CHANNELS, bluetoothd's [GATT] Channels (default 1; more lets the two bluetoothd
# instances use EATT, which shows notifications arriving out of order).
# The first run downloads Debian's packages with apt-get (about 75 MB); later runs need no network.
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
here="$root/scripts/real-bluez"
cache="${HALVORA_REAL_BLUEZ_CACHE:-$root/build/real-bluez}"
memory="${HALVORA_REAL_BLUEZ_MEMORY:-1G}"
run_timeout_s="${HALVORA_REAL_BLUEZ_TIMEOUT:-0}"
boot_timeout_s=240

# What the machine needs beyond the host's own root file system.
guest_packages=(bluez bluez-test-tools busybox-static kmod)
kernel_metapackage=linux-image-amd64
# Modules the initramfs loads (with their dependencies) to reach the host's files.
initramfs_modules=(virtio_pci 9pnet_virtio 9p overlay)

exit_cannot_start=77
exit_setup_failed=70
exit_timed_out=124

smp=1
verbose=0
prepare_only=0

cannot_start() { echo "real-bluez: cannot start here: $*" >&2; exit "$exit_cannot_start"; }
say() { echo "real-bluez: $*" >&2; }

usage() {
  echo "usage: $0 [--smp N] [--verbose] [--prepare] [--] COMMAND..." >&2
  exit 2
}

parse_options() {
  while [ $# -gt 0 ]; do
    case "$1" in
      --smp) [ $# -ge 2 ] || usage; smp="$2"; shift 2 ;;
      --verbose) verbose=1; shift ;;
      --prepare) prepare_only=1; shift ;;
      --) shift; break ;;
      -*) usage ;;
      *) break ;;
    esac
  done
  command_args=("$@")
  if [ "$prepare_only" -eq 0 ] && [ ${#command_args[@]} -eq 0 ]; then usage; fi
}

now_ms() { date +%s%3N; }
seconds_since() { local ms=$(($(now_ms) - $1)); printf '%d.%01d' $((ms / 1000)) $((ms % 1000 / 100)); }

check_host() {
  command -v qemu-system-x86_64 >/dev/null \
    || cannot_start "qemu-system-x86_64 is missing (scripts/install-deps.sh installs qemu-system-x86)"
  local tool
  for tool in apt-get dpkg-deb xz flock; do
    command -v "$tool" >/dev/null || cannot_start "$tool is missing"
  done
  [ "$(uname -m)" = x86_64 ] || cannot_start "the machine is x86_64 only"
}

# --- the machine's files, built once into $cache --------------------------------------------------

kernel_package_name() {
  apt-cache depends "$kernel_metapackage" 2>/dev/null | sed -n 's/^ *Depends: \(linux-image-[0-9].*\)$/\1/p' | head -n1
}

download_packages() {
  local debs="$1" kernel_package
  kernel_package="$(kernel_package_name)"
  if [ -z "$kernel_package" ]; then
    apt-get update -qq >/dev/null 2>&1 || true
    kernel_package="$(kernel_package_name)"
  fi
  [ -n "$kernel_package" ] || cannot_start "apt does not know $kernel_metapackage"
  rm -rf "$debs.new"
  mkdir -p "$debs.new"
  if ! (cd "$debs.new" && apt-get download -qq "$kernel_package" "${guest_packages[@]}" >download.log 2>&1); then
    cannot_start "apt-get download $kernel_package ${guest_packages[*]} failed: $(tail -n1 "$debs.new/download.log")"
  fi
  rm -rf "$debs"
  mv "$debs.new" "$debs"
}

# Extracts every package into one tree laid out like the host's merged /usr, so that it can lie over
# the host's root as one more overlay layer (a real /lib there would hide the host's /lib -> usr/lib).
extract_packages() {
  local debs="$1" layer="$2" deb top
  rm -rf "$layer"
  mkdir -p "$layer/usr"
  for deb in "$debs"/*.deb; do dpkg-deb -x "$deb" "$layer"; done
  for top in bin sbin lib lib64; do
    if [ -d "$layer/$top" ] && [ ! -L "$layer/$top" ]; then
      mkdir -p "$layer/usr/$top"
      cp -al "$layer/$top/." "$layer/usr/$top/"
      rm -rf "${layer:?}/$top"
    fi
  done
}

kernel_version() { basename "$(ls -d "$1"/usr/lib/modules/*/ | head -n1)"; }

kmod_as() { local name="$1" layer="$2"; shift 2; (exec -a "$name" "$layer/usr/bin/kmod" "$@"); }

# The kernel package ships no modules.dep.
index_modules() {
  local layer="$1" version="$2"
  kmod_as depmod "$layer" -b "$layer/usr" "$version" || cannot_start "depmod failed"
}

# The uncompressed kernel (an ELF with a PVH entry), found the way the kernel's extract-vmlinux does:
# try each compressed stream in the bzImage until one unpacks to an ELF file.
extract_vmlinux() {
  local image="$1" out="$2" offset
  local -A magic=([xz]='\xfd7zXZ\x00' [gzip]='\x1f\x8b\x08' [zstd]='\x28\xb5\x2f\xfd')
  local -A unpack=([xz]='xz -dc' [gzip]='gzip -dc' [zstd]='zstd -dcq')
  local format
  for format in xz zstd gzip; do
    command -v "${unpack[$format]%% *}" >/dev/null || continue
    for offset in $(LC_ALL=C grep -obUaP "${magic[$format]}" "$image" | cut -d: -f1); do
      tail -c +$((offset + 1)) "$image" | ${unpack[$format]} >"$out" 2>/dev/null || true
      if [ "$(head -c4 "$out" | od -An -c | tr -d ' ')" = '177ELF' ]; then return 0; fi
    done
  done
  rm -f "$out"
  return 1
}

build_initramfs() {
  local layer="$1" version="$2" out="$3" staging module
  staging="$(mktemp -d "$cache/initramfs.XXXXXX")"
  mkdir -p "$staging"/{bin,dev,proc,sys,modules}
  cp "$layer/usr/bin/busybox" "$staging/bin/busybox"
  cp "$here/init" "$staging/init"
  chmod 0755 "$staging/init"
  : >"$staging/modules.order"
  for module in $(kmod_as modprobe "$layer" -d "$layer/usr" -S "$version" --show-depends -a "${initramfs_modules[@]}" \
                  | awk '$1 == "insmod" { print $2 }' | awk '!seen[$0]++'); do
    cp "$module" "$staging/modules/"
    basename "$module" >>"$staging/modules.order"
  done
  (cd "$staging" && find . | "$layer/usr/bin/busybox" cpio -o -H newc -R 0:0 2>/dev/null) >"$out"
  rm -rf "$staging"
}

prepare_cache() {
  local stamp="$cache/machine/ready" started version
  if [ -f "$stamp" ] && [ -f "$cache/machine/initramfs.cpio" ] \
    && [ "$(cat "$stamp")" = "$(tool_fingerprint)" ]; then
    return 0
  fi
  started="$(now_ms)"
  say "preparing the machine's files in $cache (once)"
  rm -rf "$cache/machine"
  mkdir -p "$cache/machine"
  download_packages "$cache/debs"
  extract_packages "$cache/debs" "$cache/machine/layer"
  version="$(kernel_version "$cache/machine/layer")"
  index_modules "$cache/machine/layer" "$version"
  if ! extract_vmlinux "$cache/machine/layer/boot/vmlinuz-$version" "$cache/machine/vmlinux"; then
    say "no uncompressed kernel found in the package; booting the compressed one"
  fi
  build_initramfs "$cache/machine/layer" "$version" "$cache/machine/initramfs.cpio"
  tool_fingerprint >"$stamp"
  say "prepared in $(seconds_since "$started") s"
}

# The cache is built anew when the initramfs's init or what goes into the machine changes.
tool_fingerprint() { { cat "$here/init"; echo "${guest_packages[*]} ${initramfs_modules[*]}"; } | cksum; }

# --- running ----------------------------------------------------------------------------------------

accelerator_options() {
  if [ -e /sys/module/kvm_pvm ] || [ ! -w /dev/kvm ]; then
    # /dev/kvm on these hosts is a paravirtual KVM that runs an unmodified kernel far too slowly.
    echo "-accel tcg,thread=multi -cpu max"
  else
    echo "-accel kvm -cpu host"
  fi
}

excluded_variable() {
  case "$1" in
    DBUS_SYSTEM_BUS_ADDRESS | DBUS_SESSION_BUS_ADDRESS | XDG_RUNTIME_DIR | DISPLAY | WAYLAND_DISPLAY \
      | SSH_* | PWD | OLDPWD | SHLVL | _ | BASH_* | HALVORA_REAL_BLUEZ_*) return 0 ;;
    *) return 1 ;;
  esac
}

write_job() {
  local job="$1" name
  pwd >"$job/directory"
  echo "${HALVORA_REAL_BLUEZ_GATT_CHANNELS:-1}" >"$job/gatt-channels"
  printf '%q ' "${command_args[@]}" >"$job/command"
  : >"$job/environment"
  for name in $(compgen -e); do
    excluded_variable "$name" && continue
    printf 'export %s=%q\n' "$name" "${!name}" >>"$job/environment"
  done
}

status_line() { tr -d '\r' <"$job/status" 2>/dev/null | grep -m1 "^$1" || true; }

kill_machine() {
  if [ -n "${qemu_pid:-}" ] && kill -0 "$qemu_pid" 2>/dev/null; then
    kill "$qemu_pid" 2>/dev/null || true
    wait "$qemu_pid" 2>/dev/null || true
  fi
}

cleanup() {
  kill_machine
  if [ -n "${job:-}" ]; then rm -rf "$job"; fi
}

print_console() {
  say "the machine's console:"
  sed 's/\r$//' "$job/console" >&2 || true
}

run_machine() {
  local kernel="$cache/machine/vmlinux" started ready_at="" timed_out=0 line status
  [ -f "$kernel" ] || kernel="$(ls "$cache"/machine/layer/boot/vmlinuz-* | head -n1)"
  job="$(mktemp -d "${TMPDIR:-/tmp}/real-bluez.XXXXXX")"
  trap cleanup EXIT
  trap 'exit 130' INT TERM
  write_job "$job"
  : >"$job/status"
  started="$(now_ms)"
  # shellcheck disable=SC2046
  qemu-system-x86_64 -M pc -m "$memory" -smp "$smp" $(accelerator_options) \
    -nodefaults -display none -no-reboot -no-user-config \
    -kernel "$kernel" -initrd "$cache/machine/initramfs.cpio" \
    -append "console=ttyS1 loglevel=${HALVORA_REAL_BLUEZ_LOGLEVEL:-4} panic=-1 mitigations=off rdinit=/init halvora_guest=$here/guest.sh halvora_job=$job" \
    -fsdev local,id=hostroot,path=/,security_model=none,readonly=on,multidevs=remap \
    -device virtio-9p-pci,fsdev=hostroot,mount_tag=hostroot \
    -fsdev "local,id=packages,path=$cache/machine/layer,security_model=none,readonly=on" \
    -device virtio-9p-pci,fsdev=packages,mount_tag=packages \
    -chardev stdio,id=output,signal=off -serial chardev:output \
    -serial "file:$job/console" -serial "file:$job/status" \
    </dev/null 2>"$job/qemu.log" &
  qemu_pid=$!
  while kill -0 "$qemu_pid" 2>/dev/null; do
    if [ -z "$ready_at" ] && [ -n "$(status_line ready)" ]; then
      ready_at="$(seconds_since "$started")"
      say "booted in $ready_at s ($(accelerator_options | cut -d' ' -f2), smp $smp)"
    fi
    if [ -z "$ready_at" ] && [ $(($(now_ms) - started)) -gt $((boot_timeout_s * 1000)) ]; then
      timed_out=1; kill_machine; break
    fi
    if [ "$run_timeout_s" -gt 0 ] && [ $(($(now_ms) - started)) -gt $((run_timeout_s * 1000)) ]; then
      timed_out=1; kill_machine; break
    fi
    sleep 0.1
  done
  wait "$qemu_pid" 2>/dev/null || true
  qemu_pid=""
  [ "$verbose" -eq 0 ] || print_console
  line="$(status_line exit)"
  if [ -n "$line" ]; then
    status="${line#exit }"
    say "command exited with $status after $(seconds_since "$started") s in all"
    return "$status"
  fi
  if [ -z "$ready_at" ] && [ ! -s "$job/console" ] && [ -s "$job/qemu.log" ]; then
    cannot_start "qemu failed: $(head -n3 "$job/qemu.log")"
  fi
  [ "$verbose" -eq 1 ] || print_console
  [ ! -s "$job/qemu.log" ] || cat "$job/qemu.log" >&2
  line="$(status_line setup-failed)"
  if [ -n "$line" ]; then
    say "the Bluetooth stack did not come up: ${line#setup-failed }"
  elif [ "$timed_out" -eq 1 ] && [ -n "$ready_at" ]; then
    say "timed out after ${run_timeout_s} s"
    return "$exit_timed_out"
  elif [ "$timed_out" -eq 1 ]; then
    say "the machine did not come up within $boot_timeout_s s"
  else
    say "the machine stopped without a status"
  fi
  return "$exit_setup_failed"
}

main() {
  parse_options "$@"
  check_host
  mkdir -p "$cache"
  # Exclusive while the files are (re)built, shared while machines run from them.
  exec 9>"$cache/.lock"
  flock 9
  prepare_cache
  flock -s 9
  [ "$prepare_only" -eq 0 ] || return 0
  run_machine
}

main "$@"
