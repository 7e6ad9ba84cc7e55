#!/usr/bin/env bash
# expect.sh STATUS PATTERN COMMAND...: runs COMMAND, then checks its exit status and that its combined
# output (with a final line break) matches the extended regular expression PATTERN (empty: no check). The
# whole pattern is one expression: a line break in it is a line break to match, "." and bracket expressions
# match line breaks too, "^" and "$" anchor at the start and end of the whole output. Prints the output on
# failure.
#
# Each run gets preferences and a lab state folder of its own, both removed afterwards: a test never sees what
# another remembered, and the runs of one COMMAND (sh -c "A && B") share what they remember.
set -u
want_status=$1; pattern=$2; shift 2
export HALVORA_PREFERENCES="${TMPDIR:-/tmp}/halvora-cli-test-$$.prefs"
HALVORA_LAB_STATE=$(mktemp -d "${TMPDIR:-/tmp}/halvora-cli-test-$$.lab.XXXXXX") || exit 1
export HALVORA_LAB_STATE
output=$("$@" 2>&1); status=$?
rm -f "$HALVORA_PREFERENCES" "$HALVORA_PREFERENCES".*
rm -rf "$HALVORA_LAB_STATE"
ok=1
if [ "$status" -ne "$want_status" ]; then echo "exit status $status, expected $want_status"; ok=0; fi
if [ -n "$pattern" ] && ! [[ "$output"$'\n' =~ $pattern ]]; then echo "output does not match: $pattern"; ok=0; fi
if [ $ok -eq 0 ]; then echo "--- output of: $*"; echo "$output"; exit 1; fi
exit 0
