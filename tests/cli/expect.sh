#!/usr/bin/env bash
# expect.sh STATUS PATTERN COMMAND...: runs COMMAND, then checks its exit status and that its combined
# output matches the extended regular expression PATTERN (empty: no check). Prints the output on failure.
set -u
want_status=$1; pattern=$2; shift 2
export HALVORA_PREFERENCES="${TMPDIR:-/tmp}/halvora-cli-test-$$.prefs"
output=$("$@" 2>&1); status=$?
rm -f "$HALVORA_PREFERENCES" "$HALVORA_PREFERENCES".*
ok=1
if [ "$status" -ne "$want_status" ]; then echo "exit status $status, expected $want_status"; ok=0; fi
if [ -n "$pattern" ] && ! grep -Ezq -- "$pattern" <<<"$output"; then echo "output does not match: $pattern"; ok=0; fi
if [ $ok -eq 0 ]; then echo "--- output of: $*"; echo "$output"; exit 1; fi
exit 0
