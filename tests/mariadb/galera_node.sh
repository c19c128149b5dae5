#!/bin/bash
# Runs one node of a cluster: galera_node.sh DIRECTORY ADDRESS CLUSTER [OPTION...]
# ADDRESS is the node's own address of the loopback network, CLUSTER all of them, with commas. The data are in
# DIRECTORY/data, and made if there are none; what the node says goes to DIRECTORY/log. It ends with whoever started it.
# As it should not run as root, it runs as another user then, who is given the directory.
set -e
directory=$1 address=$2 cluster=$3
as=(setpriv --pdeathsig KILL)
if [ "$(id -u)" -eq 0 ]; then
  user=$(id -un mysql 2>/dev/null || echo nobody)
  chown -R "$user" "$directory"
  as+=(--reuid "$user" --regid "$(id -g "$user")" --clear-groups)
fi
cd "$directory"
shift 3
exec >>"$directory/log" 2>&1

if [ ! -d "$directory/data" ]; then
  "${as[@]}" mariadb-install-db --no-defaults --datadir="$directory/data" --auth-root-authentication-method=normal \
    --skip-test-db --innodb-log-file-size=16M --innodb-use-native-aio=OFF
fi

# Small, so that it starts within a second; a node that answers nothing for two seconds is cast out.
provider=(
  "gmcast.listen_addr=tcp://$address:14567" "ist.recv_addr=$address:14568"
  gcache.size=128M pc.recovery=false
  evs.keepalive_period=PT0.3S evs.inactive_check_period=PT0.2S
  evs.suspect_timeout=PT2S evs.inactive_timeout=PT4S evs.install_timeout=PT4S
)
cat >"$directory/my.cnf" <<END
[mariadbd]
datadir=$directory/data
socket=$directory/socket
pid-file=$directory/pid
bind-address=$address
port=13306
skip-name-resolve
character-set-server=utf8mb4
max_connections=300
performance_schema=OFF
innodb_buffer_pool_size=128M
sort_buffer_size=32M
max_heap_table_size=64M
tmp_memory_table_size=64M
innodb_log_file_size=16M
innodb_flush_method=nosync
innodb_use_native_aio=OFF
innodb_flush_log_at_trx_commit=2
innodb_autoinc_lock_mode=2
binlog_format=ROW
wsrep_on=ON
wsrep_provider=$(ls /usr/lib/galera/libgalera_smm.so /usr/lib/*/galera/libgalera_smm.so 2>/dev/null | head -n 1)
wsrep_provider_options="$(IFS=';'; echo "${provider[*]}")"
wsrep_cluster_name=vorn
wsrep_cluster_address=gcomm://${cluster//,/:14567,}:14567
wsrep_node_address=$address:14567
wsrep_node_name=$address
wsrep_slave_threads=2
wsrep_sst_method=rsync
wsrep_sst_receive_address=$address:14444
END

# After a kill only the store itself knows how far it had come; with that it asks for the rest, without it for everything.
server=("${as[@]}" /usr/sbin/mariadbd "--defaults-file=$directory/my.cnf")
position=$("${server[@]}" --wsrep-recover 2>&1 | sed -n 's/.*Recovered position: *//p' | tail -n 1)
[[ ${position:-:-1} == *:-1 ]] || set -- "--wsrep-start-position=$position" "$@"
exec "${server[@]}" "$@"
