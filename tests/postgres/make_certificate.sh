#!/bin/sh
# Makes a certificate for 127.0.0.1 at $1 and its key at $1.key, which the server's user may read: make_certificate.sh FILE
set -e
openssl req -x509 -nodes -newkey rsa:2048 -subj /CN=test -addext subjectAltName=IP:127.0.0.1 \
  -keyout "$1.key" -out "$1" >"$1.log" 2>&1
chmod 755 "$(dirname "$1")"
chmod 600 "$1.key"
[ "$(id -u)" -ne 0 ] || chown postgres "$1.key"
