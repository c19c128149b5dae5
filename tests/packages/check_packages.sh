#!/usr/bin/env bash
# Uses the packages of a folder, and the sources, as another project does: check_packages.sh FOLDER
# Installs nothing on this machine. The program is the first one of the README.
set -euo pipefail
root=$(readlink -f "$(dirname "$0")/../..")
here=$root/tests/packages
packages=$(readlink -f "$1")
work=$(mktemp -d)
server=
stop() {
  [ -z "$server" ] || { kill -INT "$server" && wait "$server" || true; }
  rm -rf "$work"
}
trap stop EXIT
chmod 711 "$work"
awk '/^```cpp$/ { inside = 1; next } /^```$/ && inside { exit } inside' "$root/README.md" >"$work/app.cpp"

# expect PATTERN COMMAND...: what the command says on either stream matches, in one line at least.
expect() {
  local pattern=$1 output
  shift
  output=$("$@" 2>&1) || true
  grep -qE -- "$pattern" <<<"$output" || { printf '%s\n%s\nexpected: %s\n' "$*" "$output" "$pattern"; exit 1; }
}
refuse() { if "$@" >"$work/log" 2>&1; then echo "succeeded: $*"; exit 1; fi; }
quiet() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }
package() { echo "$packages/$1"_*.deb; }
depends() { dpkg-deb -f "$(package "$1")" Depends; }
unpack() { for each; do dpkg-deb -x "$(package "$each")" "$work/system"; done; }

# What each package asks for: a client library only where its store is, and one version of all of them.
version=$(dpkg-deb -f "$(package libvorn1)" Version)
expect "^libvorn1 \(= $version\)$" depends libvorn-dev
expect "libpq5.*libvorn1 \(= $version\)|libvorn1 \(= $version\).*libpq5" depends libvorn1-postgresql
expect "libmariadb3.*libvorn1 \(= $version\)|libvorn1 \(= $version\).*libmariadb3" depends libvorn1-mariadb
expect libsqlite3 depends libvorn1
case $(depends libvorn1) in *libpq* | *maria*) echo "libvorn1 needs a client library"; exit 1 ;; esac
# The verdict of the packages' own tools, for this machine.
simulate() { apt-get --simulate install "$@"; }
quiet simulate "$packages"/*.deb
refuse simulate "$(package libvorn1-postgresql)"
expect 'libvorn1 \(= ' cat "$work/log"

# Built with nothing but the packages of the embedded store.
unpack libvorn1 libvorn-dev
libraries=$work/system/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
quiet cmake -G Ninja -S "$here" -B "$work/by_cmake" -DPROGRAM="$work/app.cpp" -DCMAKE_PREFIX_PATH="$work/system/usr"
quiet cmake --build "$work/by_cmake"
export PKG_CONFIG_LIBDIR=$libraries/pkgconfig PKG_CONFIG_SYSROOT_DIR=$work/system
quiet c++ -std=c++17 -o "$work/app" "$work/app.cpp" $(pkg-config --cflags --libs vorn)
unset PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR
export LD_LIBRARY_PATH=$libraries
cd "$work"
for app in by_cmake/app ./app; do
  expect "libvorn.so.1 => $libraries/" ldd "$app"
  expect "^disk 'C' full$" env VORN_STORE_DEFAULT=sqlite::memory: "$app"
  expect 'libvorn1-postgresql|^vorn 19 ' env VORN_STORE_DEFAULT=postgresql://localhost/state "$app"
done

# The PostgreSQL package added, and a server reached.
unpack libvorn1-postgresql
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
mkdir "$work/server"
run=("$root/tests/postgres/server.sh" "$work/server")
"${run[@]}" initdb -D "$work/server/data" -N -A trust -U app
"${run[@]}" postgres -D "$work/server/data" -F -h 127.0.0.1 -p "$port" -k "$work/server" &
server=$!
url=postgresql://app@127.0.0.1:$port/postgres
timeout 60 bash -c "until (: >/dev/tcp/127.0.0.1/$port) 2>/dev/null; do sleep 0.1; done"
for app in by_cmake/app ./app; do expect "^disk 'C' full$" env VORN_STORE_DEFAULT="$url" "$app"; done

# The sources in another project: optimised when it does not say how it is built, with its own settings otherwise. These
# are the ones of the dev build, whose objects the compiler's cache has.
unset LD_LIBRARY_PATH
tree=$root/build/embedded
rm -rf "$tree"
embed() { quiet cmake -G Ninja -S "$here" -B "$tree" -DPROGRAM="$work/app.cpp" -DVORN_SOURCES="$root" "$@"; }
embed -DFETCH=ON
expect 'FLAGS = .*-O3' grep -A 5 CVORNDeleter.cpp.o: "$tree/build.ninja"
for fetch in ON OFF; do
  rm -rf "$tree"
  embed -DFETCH=$fetch -DCMAKE_BUILD_TYPE=Debug -DEXPECTED_BUILD_TYPE=Debug -DVORN_WARNINGS_AS_ERRORS=ON
  quiet cmake --build "$tree"
  expect "^disk 'C' full$" env VORN_STORE_DEFAULT="$url" "$tree/app"
done
