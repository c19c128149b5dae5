#!/bin/sh
# Makes a certificate for 127.0.0.1 at $1, and its key at $1.key: make_certificate.sh FILE
exec openssl req -x509 -nodes -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -subj /CN=test \
  -addext subjectAltName=IP:127.0.0.1 -keyout "$1.key" -out "$1" >"$1.log" 2>&1
