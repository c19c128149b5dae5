#!/usr/bin/env bash
# alarm_service.sh PROGRAM: runs the alarm service on the store that VORN_STORE_DEFAULT names until its metrics show what
# it does, interrupts it, and looks whether its account adds up.
set -euo pipefail
folder=$(mktemp -d)
trap 'kill "$service" 2>/dev/null || true; rm -rf "$folder"' EXIT

# The C library loses a few bytes when threads look for its translations at once.
ASAN_OPTIONS=${ASAN_OPTIONS:-}:detect_leaks=0 "$1" 0 >"$folder/output" 2>"$folder/errors" &
service=$!

# shows PATTERN: whether the metrics have such a line.
shows() { curl -sf "$(head -n 1 "$folder/output")" >"$folder/metrics" && grep -qE "^$1" "$folder/metrics"; }

patterns=('vorn_statement_seconds_count\{store="[^"]+",shape="insert into alarm [^"]+"\} [1-9]'
  'vorn_statement_seconds\{store="[^"]+",shape="insert into alarm [^"]+",quantile="0.99"\} [0-9]'
  'vorn_statement_rows_total\{store="[^"]+",shape="delete from alarm where \(alarm.state=(\?|1)\)"\} [1-9]'
  'vorn_statement_rows_total\{store="[^"]+",shape="select source,text from alarm where [^"]+"\} [1-9]'
  'vorn_statement_failures_total\{store="[^"]+",shape="update alarm set state=[^"]+"\} 0')
for pattern in "${patterns[@]}"; do
  for ((attempt = 0; ; ++attempt)); do
    shows "$pattern" && break
    if [ "$attempt" -eq 300 ] || ! kill -0 "$service"; then
      echo "the metrics never show $pattern"
      cat "$folder"/*
      exit 1
    fi
    sleep 0.1
  done
done

kill -TERM "$service"
status=0
wait "$service" || status=$?
tail -n 2 "$folder/output"
cat "$folder/errors"
[ "$status" -eq 0 ] && grep -qE '^open: .*level 4: [1-9].* latest device [12]: fan stopped' "$folder/output" &&
  tail -n 1 "$folder/output" | grep -qE '^0 there before, [1-9][0-9]+ reported, [1-9][0-9]* deleted, [0-9]+ left, 0 missing$'
