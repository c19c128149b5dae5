#!/bin/sh
# Usage: check_headers.sh COMPILER STANDARD: compiles the callers' expressions, and each public header alone.
set -eu
root=$(dirname "$0")/..
compile() {
  "$compiler" -std="$standard" -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fsyntax-only \
    -I "$root/include" -x c++ "$@"
}
compiler=$1 standard=$2
compile "$root/tests/header_use.cpp"
for header in $(cd "$root/include" && find vorn -name '*.h'); do
  compile -include "$header" /dev/null
done
echo "void fill(BatchInserter& b, std::pair<int, std::optional<int>> (&r)[1]) { vorn::appendRows(b, r, \"a\", \"b\"); }" |
  { compile -include vorn/columns.h - 2>&1 || true; } | grep -q "a batch has no nulls"
for header in statement inserter dropper batch_inserter updater deleter selector reader; do
  echo "auto level(CVORNTable t) { return (t[\"level\"] == 5).toString(); }" | compile -include "vorn/$header.h" -
done
