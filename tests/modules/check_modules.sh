#!/usr/bin/env bash
# Installs a build and uses it, with the store's module in place, missing and spoilt:
# check_modules.sh BUILD STORE_TESTS COMPILER [FLAG ...]
# Prints a line for each case, as the test programs do.
set -uo pipefail
shopt -s lastpipe  # a verdict at the end of a pipe counts
build=$1 store_tests=$2
shift 2
source=$(dirname "$(readlink -f "$0")")
work=$build/tests/modules
rm -rf "$work" && mkdir -p "$work/other" && cd "$work" || exit 1
cmake --install "$build" --prefix "$work/installed" >install.log || exit 1
lib=$(dirname "$(find "$work/installed" -name libvorn.so)")
module=$lib/vorn/1/libvorn-postgresql.so
mv "$module" good.so

# The installed package is what programs are built with.
export PKG_CONFIG_PATH=$lib/pkgconfig
compile() { "$@" -std=c++17 -pthread $(pkg-config --cflags vorn) -L"$lib" -lvorn -ldl; }
compile "$@" -o host "$source/host.cpp" || exit 1
compile "$@" -shared -fPIC -x c++ -o plugin.so - <<<'
  #include <unistd.h>
  #include <vorn/platform/stores.h>
  static const bool bound = (usleep(300000), vorn::bindStore("plugin", "postgresql://localhost/state").succeeded());
' || exit 1
compile "$@" -shared -fPIC -x c++ -o binding.so - <<<'
  #include <unistd.h>
  #include <vorn/platform/stores.h>
  static const bool bound = (usleep(300000), vorn::bindStore("inner", "sqlite::memory:").succeeded()) && fork() != 0;
  static const int child = bound ? 0 : (_exit(0), 0);
' || exit 1
# What stands in the module's place.
library() { "$@" -shared -fPIC -x c++ -; }
library "$@" -o version.so <<<'extern "C" { struct Module { char version[16]; const void* kind; };
  extern const Module vornStoreModule; const Module vornStoreModule = {"0.9.9", nullptr}; }' || exit 1
library "$@" -o none.so </dev/null && cp none.so libgone.so || exit 1
library "$@" -Wl,--no-as-needed -o dependent.so -L. -lgone </dev/null && rm libgone.so || exit 1
: >empty.so
cp none.so arm.so && printf '\xb7' | dd of=arm.so bs=1 seek=18 conv=notrunc status=none
mkdir directory.so
ln -s nowhere dangling.so
cp none.so closed.so && chmod 0 closed.so

# The thread sanitizer does not know the lock of the dynamic loader.
echo 'race:ld-linux' >suppressions.txt
export TSAN_OPTIONS="${TSAN_OPTIONS:-} suppressions=$work/suppressions.txt"

failed=0
# verdict NAME EXPECTED: what is read matches in every line, is one line at least, and has no secret.
verdict() {
  local name=$1 expected=$2 output
  output=$(cat)
  if [ -n "$output" ] && ! grep -qvE -- "$expected" <<<"$output" && ! grep -q geheim <<<"$output"; then
    echo "[       OK ] Modules.$name (0 ms)"
  else
    printf '%s\nexpected: %s\n[  FAILED  ] Modules.%s (0 ms)\n' "$output" "$expected" "$name"
    failed=1
  fi
}
# check NAME FILE EXPECTED [VARIABLE=VALUE ...] [WAY DETAIL]: the host's outcome with that file as the module.
check() {
  local name=$1 file=$2 expected=$3 settings=()
  shift 3
  while [[ ${1-} == *=* ]]; do settings+=("$1") && shift; done
  rm -rf "$module"
  [ -z "$file" ] || cp -a "$file" "$module"
  env LD_LIBRARY_PATH="$lib" "${settings[@]}" timeout 60 "$work/host" "$@" 2>&1 | verdict "$name" "$expected"
}

reached='^postgresql 08001 .*; postgresql 23505 unique_violation, class 5$'
unknown='; postgresql 3505685, class 10$'
package='libvorn1-postgresql'
unreadable="^vorn 21 MODULE_UNREADABLE: $module of the package $package cannot be loaded: "
missing="^vorn 19 MODULE_MISSING: .* install the package $package \(libvorn-postgresql.so is not in $lib/vorn/1"

check installed good.so "$reached"
check missing '' "$missing\)$unknown"
check missing_in_both '' "$missing or $work/other\)$unknown" VORN_MODULE_DIR="$work/other"
check other_version version.so "^vorn 20 MODULE_VERSION: $module is of version 0.9.9, .* package $package .*$unknown"
check no_module none.so "$unreadable.*no module.*$unknown"
check without_dependency dependent.so "$unreadable.*libgone.so.*$unknown"
check empty empty.so "$unreadable.*too short$unknown"
check other_machine arm.so "$unreadable.*$unknown"
check directory directory.so "$unreadable.*directory$unknown"
check dangling dangling.so "$unreadable.*No such file.*$unknown"
[ -r closed.so ] || check closed closed.so "$unreadable.*Permission denied$unknown"
check mended '' "($missing\)$unknown|$reached)" mend "cp $work/good.so $module"
check version_mended version.so "(vorn 20 .*$unknown|$reached)" mend "cp $work/good.so $module.new && mv $module.new $module"
cp good.so other/libvorn-postgresql.so
check other_folder '' "$reached" VORN_MODULE_DIR="$work/other"
check first_file_counts version.so '^vorn 20 ' VORN_MODULE_DIR="$work/other"
mkdir -p linked/vorn/1 && ln -s "$lib/libvorn.so.1" linked/
check behind_link good.so "$reached" LD_LIBRARY_PATH="$work/linked"
cp good.so linked/vorn/1/libvorn-postgresql.so
check beside_link '' "$reached" LD_LIBRARY_PATH="$work/linked"
cd "$lib" && check relative_path "$work/good.so" "$reached" LD_LIBRARY_PATH=. elsewhere
cd "$work" && check beside_static_object good.so "$reached" beside "$work/plugin.so"
# The allocator of a sanitizer does not survive a fork beside another thread.
if [[ $* != *-fsanitize* ]]; then
  check forked_beside_module_that_binds binding.so "$unreadable.*no module.*$unknown" fork 100000
  for delay in 0 300 600 1000 1500 2000 3000 4000 6000 9000; do
    check "forked_after_$delay" good.so "$reached" fork $delay
  done
fi

readelf -dW "$lib/libvorn.so" | grep NEEDED | verdict library_needs 'lib(spdlog|ACE-.*|sqlite3|uriparser|fmt|stdc\+\+|m|gcc_s|c|.*san.*)\.so|ld-linux'
for each in "$lib"/vorn/1/*.so; do nm -D --defined-only "$each"; done | verdict module_exports '^[0-9a-f]+ [DR] vornStoreModule$'
LD_LIBRARY_PATH=$lib "$store_tests" --gtest_filter=Stores/Lifetime.StaticObjects*/PostgreSql || failed=1
exit $failed
