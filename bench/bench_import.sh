#!/usr/bin/env bash
# Converting a PostgreSQL table into an Ostra table: `ostra import` against
# `psql \copy ... TO STDOUT` piped into the sqlite3 shell's `.import` of the
# same rows (into a table of the same column types and key), in one run,
# alternating, several times. Prints each run, the medians, the ratio of the
# two (target: ostra at least 0.8 times the speed of the pipe) and the peak
# memory of ostra (it streams the source: the figure must not grow with the rows).
#
#   bash bench/bench_import.sh [--rows=N] [--runs=N] [--no-build]
#
# Starts a private PostgreSQL 15 server in a temporary folder (as the
# postgres user when run as root) and stops it at the end. About 2 minutes
# for 1,000,000 rows and 3 runs on a 2-core machine.
set -euo pipefail
cd "$(dirname "$0")/.."
rows=1000000 runs=3 build=1
for a in "$@"; do
    case $a in
    --rows=*) rows=${a#--rows=} ;;
    --runs=*) runs=${a#--runs=} ;;
    --no-build) build=0 ;;
    -h | --help) awk 'NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "$0"; exit 0 ;;
    *) echo "bench_import.sh: unknown option $a" >&2; exit 2 ;;
    esac
done
if [ $build = 1 ]; then
    cmake -S . -B build -G Ninja >/dev/null
    cmake --build build -j "$(nproc)" --target ostra >/dev/null
fi
ostra=$PWD/build/cli/ostra
bin=/usr/lib/postgresql/15/bin
dir=$(mktemp -d /tmp/ostra-bench-import-XXXXXX)
as_pg() { if [ "$(id -u)" = 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi; }
[ "$(id -u)" = 0 ] && chown postgres "$dir"
port=54399
stop() {
    as_pg "$bin/pg_ctl" -D "$dir/data" -m immediate stop >/dev/null 2>&1 || true
    rm -rf "$dir"
}
trap stop EXIT
as_pg "$bin/initdb" -D "$dir/data" -A trust -U ostra -E UTF8 --locale=C.UTF-8 --no-sync >/dev/null
as_pg "$bin/pg_ctl" -D "$dir/data" -o "-k $dir -c listen_addresses='' -p $port -c fsync=off" -l "$dir/server.log" -w start >/dev/null
psql() { command psql -h "$dir" -p $port -U ostra -d postgres -q "$@"; }
echo "Filling a table of $rows rows, 8 columns ..."
psql -c "CREATE TABLE big(id int PRIMARY KEY, name text NOT NULL, price numeric(12,2), qty int, born date,
         stamp timestamp, flag boolean, note varchar(40));
         INSERT INTO big SELECT i, 'name ' || i, (i % 100000) / 100.0, i % 1000, date '2000-01-01' + i % 9000,
         timestamp '2020-01-01' + i * interval '1 second', i % 2 = 0,
         CASE WHEN i % 7 = 0 THEN NULL ELSE 'note ' || i % 1000 END FROM generate_series(1, $rows) i"
psql -c "VACUUM ANALYZE big"
source="QPSQL://ostra@$(python3 -c 'import sys, urllib.parse; print(urllib.parse.quote(sys.argv[1], safe=""))' "$dir"):$port/postgres"
out=$dir/out
mkdir -p "$out"
chmod 777 "$out"
ostra_times=() pipe_times=()
now() { date +%s.%N; }
for ((r = 1; r <= runs; r++)); do
    rm -f "$out"/*
    "$ostra" create-db "$out/t.ostd" >/dev/null
    t0=$(now)
    /usr/bin/time -f "%M" -o "$out/mem" "$ostra" import "$out/t.ostd" Big "--from=$source" --source-table=big >/dev/null
    t1=$(now)
    command psql -h "$dir" -p $port -U ostra -d postgres -c '\copy big TO STDOUT' |
        sqlite3 "$out/p.db" -cmd "CREATE TABLE big(id INTEGER PRIMARY KEY, name TEXT NOT NULL, price REAL, qty INTEGER,
                                  born TEXT, stamp TEXT, flag INTEGER, note TEXT)" -cmd ".mode tabs" ".import /dev/stdin big"
    t2=$(now)
    a=$(awk -v x="$t0" -v y="$t1" 'BEGIN { print y - x }') b=$(awk -v x="$t1" -v y="$t2" 'BEGIN { print y - x }')
    ostra_times+=("$a") pipe_times+=("$b")
    printf "run %d: ostra import %.2f s (peak %s KB), psql | sqlite3 %.2f s, ratio %.2f\n" "$r" "$a" "$(cat "$out/mem")" "$b" \
        "$(awk -v x="$a" -v y="$b" 'BEGIN { print y / x }')"
done
median() { printf "%s\n" "$@" | sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
ma=$(median "${ostra_times[@]}") mb=$(median "${pipe_times[@]}")
printf "median: ostra import %.2f s, psql | sqlite3 %.2f s; speed ratio %.2f (target 0.80)\n" "$ma" "$mb" "$(awk -v x="$ma" -v y="$mb" 'BEGIN { print y / x }')"
