#!/usr/bin/env bash
# csv_import.sh PROGRAM: imports a file with faults of every kind among 5,000 good lines, once as it is, and once onto a
# disk that becomes full and then is not, and looks whether each line is accounted for.
set -euo pipefail
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

{
  echo station,taken,celsius
  seq 2 2501 | sed 's/.*/North,&,-0.5/'
  printf '%s\n' 'North,7,3' 'North,1' '' 'North,soon,1' 'North,1,warm' ',1,1' '"a, ""b""' 'c",1,1e1'
  seq 2510 5009 | sed 's/.*/South,&,21\r/'
  printf '"open,1,1'
} >"$folder/file"

# run STORE STATUS: imports the file; the last line of what it wrote is then in $last.
run() {
  local status=0
  VORN_STORE_DEFAULT="sqlite:$folder/$1" "$program" "$folder/file" >"$folder/output" 2>"$folder/errors" || status=$?
  last=$(tail -n 1 "$folder/output")
  [ "$status" -eq "$2" ] || { echo "exit status $status: $last"; cat "$folder/errors"; exit 1; }
}

run store 1
diff "$folder/output" - <<'END'
line 2502: sqlite 1555 SQLITE_CONSTRAINT_PRIMARYKEY
line 2503: 2 fields instead of 3
line 2505: 'soon' is no time
line 2506: 'warm' is no temperature
line 2507: no station
line 5010: a quote is not closed
5007 lines: 5001 stored, 6 rejected, 0 not tried
END

(
  trap '' XFSZ
  ulimit -f 100
  run full 2
  grep -q '^csv_import: stopped at line [0-9]*: sqlite ' "$folder/errors"
)
read -r lines _ stored _ rejected _ untried _ < <(tail -n 1 "$folder/output")
[ "$stored" -gt 0 ] && [ "$untried" -gt 0 ] && [ "$lines" -eq $((stored + rejected + untried)) ]
run full 1
[ "$last" = "5007 lines: $((5001 - stored)) stored, $((6 + stored)) rejected, 0 not tried" ]

# A terminal has a progress bar.
VORN_STORE_DEFAULT="sqlite:$folder/bar" script -qec "'$program' '$folder/file'" "$folder/screen" >/dev/null || true
grep -q '\[#\{25\} \{25\}\]  50 %' "$folder/screen" && grep -q '\[#\{50\}\] 100 %' "$folder/screen"
