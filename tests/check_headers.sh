#!/bin/sh
# Usage: check_headers.sh COMPILER STANDARD EXAMPLES: compiles what callers write, the examples of the public headers, and
# each header alone.
set -eu
root=$(dirname "$0")/..
compile() {
  "$compiler" -std="$standard" -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fsyntax-only \
    -I "$root/include" -x c++ "$@"
}
compiler=$1 standard=$2
compile -I "$root/tests/examples" "$3"
# What a header lacks, it lacks for every compiler, and most of all where the standard library includes the least.
if [ "$standard" = c++2b ] && [ "${compiler%clang++}" = "$compiler" ]; then
  for header in $(cd "$root/include" && find vorn -name '*.h'); do
    compile -include "$header" /dev/null
  done
fi
echo "void fill(BatchInserter& b, std::pair<int, std::optional<int>> (&r)[1]) { vorn::appendRows(b, r, \"a\", \"b\"); }" |
  { compile -include vorn/columns.h - 2>&1 || true; } | grep -q "a batch has no nulls"
for header in statement inserter dropper batch_inserter updater deleter selector reader; do
  echo "auto level(CVORNTable t) { return (t[\"level\"] == 5).toString(); }" | compile -include "vorn/$header.h" -
done
[ "$standard" = c++17 ] ||
  echo "static_assert(std::ranges::input_range<vorn::Rows<long>>);" | compile -include ranges -include vorn/rows.h -

echo 'template <typename T> CVORNInserter& operator<<(CVORNInserter& i, const T* own) { return i << *own; }
  void use(CVORNInserter& i, int* number, const long* other) { i << number << other << "text"; }' |
  compile -include vorn/inserter.h -

# use: compiles the statements that it reads.
use() {
  {
    echo 'void use(CVORNTable t, CVORNCriterionItem a, CVORNCriterionItem b, CVORNSelector selector, CVORNInserter inserter,
               CVORNUpdater updater) {'
    sed 's/$/;/'
    echo '}'
  } | compile -Wno-unused-parameter -include vorn/vorn.h -
}
sed '/^#/d; / => refused$/d' "$root/tests/callers.txt" | use
sed -n 's/ => refused$//p' "$root/tests/callers.txt" | while read -r statement; do
  if echo "$statement" | use 2>/dev/null; then
    echo "not refused: $statement"
    exit 1
  fi
done
