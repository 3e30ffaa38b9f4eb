#!/usr/bin/env bash
# Kills `ostra` with SIGKILL at random points of a restructure (a rebuild and
# one made in place), batch moves (within a database and between two) and an
# encryption change, and checks that every outcome is exactly the old state or
# exactly the new one, with nothing left beside the table files.
#
#   bench/crashloop.sh [N] [--rows=N] [--cases=alter,inplace,copy,xcopy,encrypt]
#                      [--layouts=directory,single] [--max-minutes=M] [--dir=DIR] [--keep]
#
# N (default 20) kills per case and layout. Cases:
#   alter    `ostra alter DB big.json`: a table Big of --rows rows (default 200,000;
#            8 columns, 3 indexes) restructured: a column renamed and widened,
#            one retyped, one added - a full rebuild;
#   inplace  `ostra alter DB inplace.json`: Big changed in place (a column
#            renamed, one widened, one added with a default, a check dropped):
#            the operation is short, so many runs end before the kill;
#   copy     `ostra copy DB Big DB Dst --mode=copy`: Dst (1,000 other rows)
#            replaced by the rows of Big;
#   xcopy    the same from the other layout's database (a single-file source
#            for a directory database and the reverse): Big's file attached;
#   encrypt  `ostra --password=PW alter DB enc.json`: Big changed from no
#            encryption to Rijndael/AES. Directory databases only (a table of a
#            single-file database takes the database's encryption).
# Each run starts from a fresh copy of a prepared database. It waits until the
# operation has visibly begun (a file of the database changed), then kills it
# after a random delay between 0 and 1.2 times the operation's measured
# length. Then, with a new ostra process (which recovers what the killed one
# left): the definition (`describe --json`) and the rows (`sql ... --csv`,
# every row with its record id) must both be the old ones or both the new
# ones; `PRAGMA integrity_check` must say ok (on unencrypted files by the
# sqlite3 shell; encrypted files are read in full through ostra, whose pages
# carry authentication tags); and only table files, lock files and the catalog
# may be left in the database's directory (no -journal, -wal, temporary or
# old copies).
#
# Prints per case and layout: kills, runs that finished before the kill,
# outcomes old / new / damaged, and the stale (never hot) rollback journals
# left by killed runs. Exit code 1 when anything was damaged.
# Needs build/cli/ostra (or OSTRA=path), sqlite3 and python3.
set -uo pipefail
cd "$(dirname "$0")/.."
OSTRA=$(realpath "${OSTRA:-build/cli/ostra}")
[ -x "$OSTRA" ] || { echo "crashloop: $OSTRA not found (cmake --build build --target ostra)" >&2; exit 2; }
command -v sqlite3 >/dev/null || { echo "crashloop: the sqlite3 shell is needed" >&2; exit 2; }

n=20 rows=200000 cases=alter,inplace,copy,xcopy,encrypt layouts=directory,single max_minutes=45 base= keep=0
for a in "$@"; do
  case "$a" in
    --rows=*) rows=${a#*=} ;;
    --cases=*) cases=${a#*=} ;;
    --layouts=*) layouts=${a#*=} ;;
    --max-minutes=*) max_minutes=${a#*=} ;;
    --dir=*) base=${a#*=} ;;
    --keep) keep=1 ;;
    [0-9]*) n=$a ;;
    *) echo "usage: bench/crashloop.sh [N] [--rows=N] [--cases=alter,inplace,copy,xcopy,encrypt] [--layouts=directory,single] [--max-minutes=M] [--dir=DIR] [--keep]" >&2; exit 2 ;;
  esac
done
work=$(mktemp -d "${base:-${TMPDIR:-/tmp}}/crashloop.XXXXXX")
deadline=$(( $(date +%s) + max_minutes * 60 ))
pw=PW
op_pid=

cleanup() {
  [ -n "$op_pid" ] && kill -9 "$op_pid" 2>/dev/null && wait "$op_pid" 2>/dev/null
  if [ "$keep" = 1 ]; then echo "crashloop: files kept in $work"; else rm -rf "$work"; fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

die() { echo "crashloop: $*" >&2; exit 1; }

# db path of a layout inside a directory; the directory its files are in.
db_in() { [ "$1" = single ] && echo "$2/db.ostd" || echo "$2/db"; }
files_dir() { [ "$1" = single ] && echo "$2" || echo "$2/db"; }

# A listing that changes when any file of the database is created, grows or is written.
snapshot() { find "$1" -maxdepth 1 -type f -printf '%f %s %T@\n' 2>/dev/null | sort; }

# Fingerprints of one table: its definition and its rows.
def_of() { "$OSTRA" --password="$pw" describe "$1" "$2" --json </dev/null 2>&1 | sha1sum | cut -c1-16; }
rows_of() {
  "$OSTRA" --password="$pw" sql "$1" "SELECT rowid AS record_id, * FROM \"$2\" ORDER BY rowid" --csv </dev/null 2>/dev/null |
    sha1sum | cut -c1-16
}

# Files other than table files, lock files and the catalog. A rollback
# journal whose header was never completed (empty, or no magic number) is not
# hot: SQLite ignores it and the next write removes it. It is listed apart
# (stale_journals), not as a leftover.
stale_journals=0
leftovers() {
  local f magic out=
  for f in $(find "$1" -maxdepth 1 -type f ! -name '*.dat' ! -name '*.ostd' ! -name '*-lock' ! -name 'ostra.ostc' -printf '%p\n'); do
    if [[ $f == *-journal ]]; then
      magic=$(head -c 8 "$f" | od -An -tx1 | tr -d ' \n')
      if [ -z "$magic" ] || [ "$magic" = 0000000000000000 ]; then stale_journals=$((stale_journals + 1)); continue; fi
      [ "$magic" = d9d505f920a163d7 ] && out+="$(basename "$f") (hot) " && continue
    fi
    out+="$(basename "$f") "
  done
  echo "${out% }"
}

# integrity_check of every unencrypted file ("ok" when all say ok).
integrity() {
  local dir=$1 skip=$2 f r out=ok
  for f in "$dir"/*.dat "$dir"/*.ostd; do
    [ -f "$f" ] || continue
    [ -n "$skip" ] && [ "$(basename "$f")" = "$skip" ] && continue
    r=$(sqlite3 -readonly "$f" "PRAGMA integrity_check" 2>&1 | head -3 | tr '\n' ' ')
    [ "$r" = "ok " ] || out="$(basename "$f"): $r"
  done
  echo "$out"
}

big_json='{"name": "Big", "columns": [
  {"name": "Id", "type": "dtAutoInc"}, {"name": "Code", "type": "dtString", "size": 12},
  {"name": "Name", "type": "dtString", "size": 60}, {"name": "Qty", "type": "dtInteger"},
  {"name": "Price", "type": "dtFloat"}, {"name": "Day", "type": "dtDate"},
  {"name": "Flag", "type": "dtBoolean"}, {"name": "Note", "type": "dtMemo"}],
  "indexes": [{"name": "PK", "fields": "Id", "options": ["primary"]},
              {"name": "ByCode", "fields": "Code", "options": ["unique"]},
              {"name": "ByName", "fields": "Name;Qty"}],
  "checks": [{"condition": "Qty >= 0", "message": "Qty must not be negative"}]}'

fill_sql() { # $1 table, $2 rows, $3 offset
  echo "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < $2)
        INSERT INTO $1(Code, Name, Qty, Price, Day, Flag, Note)
        SELECT printf('C%08d', i + $3), 'name ' || ((i * 7919) % $2) || ' of ' || ($3 + 1), i % 1000, i * 0.25,
               date('2020-01-01', '+' || (i % 3000) || ' days'), i % 2, 'note ' || hex(randomblob(12)) FROM n"
}

# Builds the database a layout's runs start from, and the definition files.
prepare() {
  local layout=$1 dir=$work/$1/template db
  mkdir -p "$dir"
  db=$(db_in "$layout" "$dir")
  if [ "$layout" = single ]; then "$OSTRA" create-db "$db" --single-file >/dev/null || die "create-db failed"
  else "$OSTRA" create-db "$db" >/dev/null || die "create-db failed"; fi
  echo "$big_json" >"$work/big-def.json"
  sed 's/"name": "Big"/"name": "Dst"/' "$work/big-def.json" >"$work/dst-def.json"
  "$OSTRA" create-table "$db" "$work/big-def.json" >/dev/null || die "create-table Big failed"
  "$OSTRA" create-table "$db" "$work/dst-def.json" >/dev/null || die "create-table Dst failed"
  "$OSTRA" sql "$db" "$(fill_sql Big "$rows" 0)" >/dev/null || die "filling Big failed"
  "$OSTRA" sql "$db" "$(fill_sql Dst 1000 50000000)" >/dev/null || die "filling Dst failed"
  "$OSTRA" describe "$db" Big --json >"$work/described.json" || die "describe failed"
  python3 - "$work" <<'PY' || die "writing the definitions failed"
import json, sys
work = sys.argv[1]
d = json.load(open(work + "/described.json"))
enc = dict(d, encryption=6)
json.dump(enc, open(work + "/enc.json", "w"))
for c in d["columns"]:
    if c["name"] == "Name": c["name"], c["size"] = "Label", 80
    if c["name"] == "Qty": c["type"] = 18; c.pop("typeName", None)
d["columns"].insert(2, {"name": "Region", "type": "dtString", "size": 20, "expression": "'north'"})
for ix in d["indexes"]:
    ix["fields"] = ix["fields"].replace("Name", "Label")
json.dump(d, open(work + "/alter.json", "w"))
d = json.load(open(work + "/described.json"))
for c in d["columns"]:
    if c["name"] == "Name": c["name"] = "Label"
    if c["name"] == "Code": c["size"] = 20
d["columns"].append({"name": "Region", "type": "dtString", "size": 20, "expression": "'north'"})
for ix in d["indexes"]:
    ix["fields"] = ix["fields"].replace("Name", "Label")
d["checks"] = []
json.dump(d, open(work + "/inplace.json", "w"))
PY
  # The source of xcopy: a database of the other layout holding Big.
  local other=$work/$layout/other ob
  mkdir -p "$other"
  if [ "$layout" = single ]; then ob=$other/db; "$OSTRA" create-db "$ob" >/dev/null || die "create-db failed"
  else ob=$other/db.ostd; "$OSTRA" create-db "$ob" --single-file >/dev/null || die "create-db failed"; fi
  "$OSTRA" create-table "$ob" "$work/big-def.json" >/dev/null || die "create-table Big (other) failed"
  "$OSTRA" sql "$ob" "$(fill_sql Big "$rows" 70000000)" >/dev/null || die "filling Big (other) failed"
  echo "$ob" >"$work/$layout/other-db"
}

# The command of a case against db.
op_cmd() {
  case "$1" in
    alter) echo "$OSTRA" alter "$2" "$work/alter.json" ;;
    inplace) echo "$OSTRA" alter "$2" "$work/inplace.json" ;;
    copy) echo "$OSTRA" copy "$2" Big "$2" Dst --mode=copy ;;
    xcopy) echo "$OSTRA" copy "$(cat "$3")" Big "$2" Dst --mode=copy ;;
    encrypt) echo "$OSTRA" --password="$pw" alter "$2" "$work/enc.json" ;;
  esac
}
checked_table() { case "$1" in copy | xcopy) echo Dst ;; *) echo Big ;; esac; }

# Whether process $1 has a file of directory $2 open.
holds_file() { find "/proc/$1/fd" -maxdepth 1 -lname "$2/*" 2>/dev/null | grep -q .; }

# Starts the operation and waits until it has begun: it holds a file of the
# database open, or a file of the database changed. Sets op_pid; returns 1
# when it ended before that.
start_op() { # case layout dir
  local fdir before
  fdir=$(files_dir "$2" "$3")
  before=$(snapshot "$fdir")
  # shellcheck disable=SC2046
  $(op_cmd "$1" "$(db_in "$2" "$3")" "$work/$2/other-db") </dev/null >"$3.log" 2>&1 &
  op_pid=$!
  local t0=$SECONDS
  while kill -0 "$op_pid" 2>/dev/null; do
    holds_file "$op_pid" "$fdir" && return 0
    [ "$(snapshot "$fdir")" != "$before" ] && return 0
    [ $((SECONDS - t0)) -gt 120 ] && { kill -9 "$op_pid"; wait "$op_pid" 2>/dev/null; op_pid=; die "$1 made no progress in 120 s"; }
    sleep 0.02
  done
  return 1
}

now() { date +%s.%N; }

declare -A R
summary=() failures=()

run_case() { # case layout
  local c=$1 layout=$2 tpl=$work/$2/template table old_def old_rows new_def new_rows length
  table=$(checked_table "$c")
  local ref=$work/$layout/ref-$c
  rm -rf "$ref" && cp -a "$tpl" "$ref"
  local rdb; rdb=$(db_in "$layout" "$ref")
  old_def=$(def_of "$rdb" "$table"); old_rows=$(rows_of "$rdb" "$table")
  # A run to the end: the new state, and how long the operation takes once it has begun.
  local t_start t_end
  start_op "$c" "$layout" "$ref"; t_start=$(now)
  wait "$op_pid"; local rc=$?; op_pid=; t_end=$(now)
  length=$(awk -v a="$t_start" -v b="$t_end" 'BEGIN { printf "%.3f", b - a }')
  local note=
  if [ $rc -ne 0 ]; then
    # Then every outcome must be the old state.
    note="; it FAILS without a kill: $(tr '\n' ' ' <"$ref.log")"
    new_def=failed new_rows=failed
    failures+=("$c $layout: fails without a kill: $(tr '\n' ' ' <"$ref.log")")
  else
    new_def=$(def_of "$rdb" "$table"); new_rows=$(rows_of "$rdb" "$table")
    [ "$old_def/$old_rows" != "$new_def/$new_rows" ] || die "$c ($layout) changed nothing"
  fi
  rm -rf "$ref" "$ref.log"
  printf '%-8s %-9s: one uninterrupted run %.2f s%s; killing %d times\n' "$c" "$layout" "$length" "$note" "$n"

  local kills=0 finished=0 old=0 new=0 damaged=0 i
  stale_journals=0
  for ((i = 1; i <= n; i++)); do
    if [ "$(date +%s)" -ge "$deadline" ]; then echo "  time limit reached after $((i - 1)) runs"; break; fi
    local run=$work/$layout/run
    rm -rf "$run" "$run.log" && cp -a "$tpl" "$run"
    local db; db=$(db_in "$layout" "$run")
    local delay; delay=$(awk -v s="$RANDOM$i" -v l="$length" 'BEGIN { srand(s); printf "%.3f", rand() * l * 1.2 }')
    if start_op "$c" "$layout" "$run"; then
      sleep "$delay"
      if kill -9 "$op_pid" 2>/dev/null; then kills=$((kills + 1)); else finished=$((finished + 1)); fi
    else
      finished=$((finished + 1))
    fi
    wait "$op_pid" 2>/dev/null
    op_pid=
    # A new process opens the table first: it recovers what the killed one left.
    local d r left ic state skip=
    d=$(def_of "$db" "$table"); r=$(rows_of "$db" "$table")
    leftovers "$(files_dir "$layout" "$run")" >"$work/left.txt"; left=$(cat "$work/left.txt")
    [ "$c" = encrypt ] && [ "$d" = "$new_def" ] && skip=Big.dat
    ic=$(integrity "$(files_dir "$layout" "$run")" "$skip")
    if [ "$d" = "$old_def" ] && [ "$r" = "$old_rows" ]; then state=old
    elif [ "$d" = "$new_def" ] && [ "$r" = "$new_rows" ]; then state=new
    else state=mixed; fi
    if [ "$state" != mixed ] && [ -z "$left" ] && [ "$ic" = ok ]; then
      [ "$state" = old ] && old=$((old + 1)) || new=$((new + 1))
    else
      damaged=$((damaged + 1))
      echo "  run $i (killed after ${delay} s): DAMAGED: state $state (definition $d, rows $r); leftovers: ${left:-none}; integrity: $ic"
      if [ "$keep" = 1 ]; then mv "$run" "$work/$layout/damaged-$c-$i"; fi
    fi
  done
  summary+=("$(printf '%-8s %-9s %6d %9d %5d %5d %8d %6d' "$c" "$layout" "$kills" "$finished" "$old" "$new" "$damaged" "$stale_journals")")
  R[damaged]=$(( ${R[damaged]:-0} + damaged ))
}

echo "crashloop: $n kills per case and layout, $rows rows, files in $work"
IFS=, read -ra case_list <<<"$cases"
IFS=, read -ra layout_list <<<"$layouts"
for layout in "${layout_list[@]}"; do
  prepare "$layout"
  for c in "${case_list[@]}"; do
    if [ "$c" = encrypt ] && [ "$layout" = single ]; then
      summary+=("$(printf '%-8s %-9s %6s %9s %5s %5s %8s %6s' encrypt single - - - - 'n/a' -)")
      continue
    fi
    run_case "$c" "$layout"
  done
done

echo
printf '%-8s %-9s %6s %9s %5s %5s %8s %6s\n' case layout kills finished old new damaged stale
printf '%s\n' "${summary[@]}"
[ ${#failures[@]} -gt 0 ] && printf 'note: %s\n' "${failures[@]}"
[ "${R[damaged]:-0}" -eq 0 ]
