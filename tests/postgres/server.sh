#!/bin/bash
# Runs one of the programs of the server or its pooler: server.sh DIRECTORY PROGRAM ARGUMENT...
# What it says goes to DIRECTORY/log. It ends with whoever started it. As it refuses to run as root, it runs as another
# user then, who is given the directory.
set -e
directory=$1
program=$(ls /usr/lib/postgresql/*/bin/"$2" /usr/sbin/"$2" 2>/dev/null | head -n 1)
shift 2
exec >>"$directory/log" 2>&1
options=(--pdeathsig QUIT)
if [ "$(id -u)" -eq 0 ]; then
  user=$(id -un postgres || echo nobody)
  chown -R "$user" "$directory"
  options+=(--reuid "$user" --regid "$(id -g "$user")" --clear-groups)
fi
exec setpriv "${options[@]}" "$program" "$@"
