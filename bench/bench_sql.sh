#!/usr/bin/env bash
# Bulk insert through the command line tool: `ostra sql` against the sqlite3
# shell doing the same on a plain file.
#
#   bench/bench_sql.sh [DIR] [--rows=N] [--statements=N] [--timeout=SECONDS]
#
#   1. N single-row INSERT statements (default 100,000) wrapped in BEGIN/COMMIT,
#      fed on standard input: `ostra sql DB -` and `sqlite3 DB`. The same
#      statements without BEGIN/COMMIT are fed to `ostra sql DB -` as well,
#      which runs a multi-statement text in one transaction of its own.
#   2. One INSERT ... SELECT over a recursive CTE of N rows (default 1,000,000):
#      `ostra sql DB "..."` and `sqlite3 DB "..."`.
#
# Three kinds of database file: the engine's (ostra create-db / create-table),
# a plain file with the same column affinities and no constraints, and a copy
# of the engine's freshly created file filled by sqlite3 ("engine DDL"): the
# last one separates the cost of the engine's CHECK constraints from the cost
# of the engine's SQL path. The table has the 8 columns of bench_alter and no
# secondary indexes. Every measurement gets a fresh database. Times are wall
# clock; user+sys CPU time is printed next to them (the machine may be busy).
# A measurement that takes longer than --timeout (default 60 s) is stopped and
# reported as such, which keeps the whole script within about three minutes.
# OSTRA=path overrides the binary (default: build/cli/ostra of this checkout).
# shellcheck disable=SC2016 # the sh -c scripts expand their own arguments
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
ostra=${OSTRA:-$root/build/cli/ostra}
rows=1000000
statements=100000
limit=60
dir=
for a in "$@"; do
    case $a in
    --rows=*) rows=${a#--rows=} ;;
    --statements=*) statements=${a#--statements=} ;;
    --timeout=*) limit=${a#--timeout=} ;;
    -h | --help) awk 'NR > 1 && /^# shellcheck/ { exit } NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "$0"; exit 0 ;;
    -*) echo "bench_sql: unknown option $a" >&2; exit 2 ;;
    *) dir=$a ;;
    esac
done
if [ ! -x "$ostra" ]; then
    echo "bench_sql: $ostra not found; build it first (scripts/build.sh)" >&2
    exit 1
fi
command -v sqlite3 >/dev/null || { echo "bench_sql: the sqlite3 shell is not installed" >&2; exit 1; }
if [ -z "$dir" ]; then
    dir=$(mktemp -d)
    trap 'rm -rf "$dir"' EXIT
else
    mkdir -p "$dir"
fi

# ---------------------------------------------------------------- inputs

cat >"$dir/items.json" <<'EOF'
{"name": "Items", "columns": [
  {"name": "ID", "type": "dtAutoInc"},
  {"name": "Name", "type": "dtString", "size": 40},
  {"name": "City", "type": "dtString", "size": 30},
  {"name": "Qty", "type": "dtInteger"},
  {"name": "Price", "type": "dtFloat"},
  {"name": "Day", "type": "dtDate"},
  {"name": "Note", "type": "dtMemo"},
  {"name": "Flag", "type": "dtBoolean"}
]}
EOF
plain_ddl="CREATE TABLE Items(ID INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT, City TEXT, Qty INTEGER,
  Price REAL, Day TEXT, Note TEXT, Flag INTEGER);"

awk -v n="$statements" 'BEGIN {
    for (i = 1; i <= n; i++)
        printf "INSERT INTO Items(Name, City, Qty, Price, Day, Note, Flag) VALUES('"'"'Name %d'"'"', '"'"'City %d'"'"', %d, %.2f, '"'"'%04d-%02d-%02d'"'"', '"'"'Order note %d for customer %d'"'"', %d);\n",
            (i * 48271) % 2147483647, i % 509, (i * 7919) % 100000, ((i * 37) % 100000) / 100.0,
            2000 + i % 20, 1 + i % 12, 1 + i % 28, i, i % 7777, i % 2
}' >"$dir/bare.sql"
{ echo "BEGIN;"; cat "$dir/bare.sql"; echo "COMMIT;"; } >"$dir/wrapped.sql"

cte="WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < $rows)
INSERT INTO Items(Name, City, Qty, Price, Day, Note, Flag)
SELECT 'Name ' || ((i * 48271) % 2147483647), 'City ' || (i % 509), (i * 7919) % 100000,
       ((i * 37) % 100000) / 100.0, date('2000-01-01', '+' || (i % 9000) || ' days'),
       'Order note ' || i || ' for customer ' || (i % 7777), i % 2
FROM n"

# ---------------------------------------------------------------- databases

engine_db() { # a fresh engine database with the table
    rm -f "$dir/engine.ostd" "$dir/engine.ostd-journal"
    "$ostra" create-db "$dir/engine.ostd" --single-file >/dev/null
    "$ostra" create-table "$dir/engine.ostd" "$dir/items.json" >/dev/null
    [ -f "$dir/engine-empty.ostd" ] || cp "$dir/engine.ostd" "$dir/engine-empty.ostd"
}
plain_db() {
    rm -f "$dir/plain.db" "$dir/plain.db-journal"
    sqlite3 "$dir/plain.db" "$plain_ddl"
}
enginedll_db() { # the engine's empty file, filled by sqlite3
    rm -f "$dir/engddl.db" "$dir/engddl.db-journal"
    cp "$dir/engine-empty.ostd" "$dir/engddl.db"
}

# ---------------------------------------------------------------- measuring

results=()
# measure LABEL ROWS COUNT-DB COUNT-TOOL COMMAND...: runs COMMAND, checks the row count.
measure() {
    local label=$1 want=$2 db=$3 tool=$4
    shift 4
    local err t rc=0
    sync
    err=$(mktemp)
    t=$({ TIMEFORMAT='%R %U %S'; time timeout "$limit" "$@" >/dev/null 2>"$err"; } 2>&1) || rc=$?
    if [ $rc -eq 124 ]; then
        results+=("$(printf '  %-46s STOPPED after %s s (under %s rows/s)' "$label" "$limit" $((want / limit)))")
        rm -f "$err"
        return 0
    fi
    if [ $rc -ne 0 ]; then
        results+=("$(printf '  %-46s FAILED: %s' "$label" "$(head -c 160 "$err" | tr '\n' ' ')")")
        rm -f "$err"
        return 0
    fi
    rm -f "$err"
    local got
    if [ "$tool" = ostra ]; then
        got=$("$ostra" sql "$db" "SELECT count(*) FROM Items" --csv | tail -n 1 | tr -d '\r"')
    else
        got=$(sqlite3 "$db" "SELECT count(*) FROM Items")
    fi
    local wall user sys
    read -r wall user sys <<<"$t"
    if [ "$got" != "$want" ]; then
        results+=("$(printf '  %-46s WRONG ROW COUNT %s (expected %s)' "$label" "$got" "$want")")
        return 0
    fi
    results+=("$(awk -v l="$label" -v w="$wall" -v u="$user" -v s="$sys" -v n="$want" \
        'BEGIN { printf "  %-46s %8.3f %12.0f %8.3f", l, w, n / w, u + s }')")
}

echo "bench_sql: $ostra against $(sqlite3 --version | cut -d' ' -f1-2); files in $dir"
echo

engine_db
measure "ostra sql DB - (BEGIN/COMMIT, $statements INSERTs)" "$statements" "$dir/engine.ostd" ostra \
    sh -c '"$0" sql "$1" - <"$2"' "$ostra" "$dir/engine.ostd" "$dir/wrapped.sql"
engine_db
measure "ostra sql DB - (no BEGIN/COMMIT)" "$statements" "$dir/engine.ostd" ostra \
    sh -c '"$0" sql "$1" - <"$2"' "$ostra" "$dir/engine.ostd" "$dir/bare.sql"
plain_db
measure "sqlite3 DB (BEGIN/COMMIT), plain schema" "$statements" "$dir/plain.db" sqlite3 \
    sh -c 'sqlite3 "$0" <"$1"' "$dir/plain.db" "$dir/wrapped.sql"
enginedll_db
measure "sqlite3 DB (BEGIN/COMMIT), engine DDL" "$statements" "$dir/engddl.db" sqlite3 \
    sh -c 'sqlite3 "$0" <"$1"' "$dir/engddl.db" "$dir/wrapped.sql"
results+=("")
engine_db
measure "ostra sql DB \"INSERT ... SELECT\" ($rows rows)" "$rows" "$dir/engine.ostd" ostra \
    "$ostra" sql "$dir/engine.ostd" "$cte"
plain_db
measure "sqlite3 DB \"INSERT ... SELECT\", plain schema" "$rows" "$dir/plain.db" sqlite3 \
    sqlite3 "$dir/plain.db" "$cte"
enginedll_db
measure "sqlite3 DB \"INSERT ... SELECT\", engine DDL" "$rows" "$dir/engddl.db" sqlite3 \
    sqlite3 "$dir/engddl.db" "$cte"

printf '  %-46s %8s %12s %8s\n' "" "wall s" "rows/s" "cpu s"
for r in "${results[@]}"; do echo "$r"; done
rm -f "$dir"/engine.ostd "$dir"/engine-empty.ostd "$dir"/plain.db "$dir"/engddl.db "$dir"/*.sql "$dir"/items.json \
    "$dir"/*-journal
