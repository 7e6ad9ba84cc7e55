#!/usr/bin/env bash
# Builds the consumer with pkg-config alone, against an installed kit, and runs it.
#   pkgconfig-build.sh PREFIX BUILD_DIR COMPILER
set -euo pipefail
prefix=$1 build=$2 compiler=$3
here=$(cd "$(dirname "$0")" && pwd)
export PKG_CONFIG_PATH="$(find "$prefix" -type d -name pkgconfig -printf '%p:')${PKG_CONFIG_PATH:-}"
mkdir -p "$build"
flags=$(pkg-config --cflags --libs halvora)
echo "pkg-config --cflags --libs halvora: $flags"
# shellcheck disable=SC2086
"$compiler" "$here/main.cpp" $flags -o "$build/halvora_consumer_pc"
"$build/halvora_consumer_pc"
