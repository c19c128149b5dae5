#!/bin/bash
# Runs a server, or makes the data for one: server.sh DIRECTORY [install]
# Its settings are in DIRECTORY/my.cnf, its data in DIRECTORY/data; what it says goes to DIRECTORY/log. It ends with
# whoever started it. As it should not run as root, it runs as another user then, who is given the directory.
set -e
directory=$1
as=(setpriv --pdeathsig KILL)
if [ "$(id -u)" -eq 0 ]; then
  user=$(id -un mysql 2>/dev/null || echo nobody)
  chown -R "$user" "$directory"
  as+=(--reuid "$user" --regid "$(id -g "$user")" --clear-groups)
fi
cd "$directory"
exec >>"$directory/log" 2>&1
if [ "${2:-}" = install ]; then
  exec "${as[@]}" mariadb-install-db --defaults-file="$directory/my.cnf" --datadir="$directory/data" --skip-test-db \
    --auth-root-authentication-method=normal --extra-file="$directory/users.sql"
fi
exec "${as[@]}" /usr/sbin/mariadbd --defaults-file="$directory/my.cnf" --datadir="$directory/data"
