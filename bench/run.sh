#!/usr/bin/env bash
# Builds the benchmarks and the command line tool, then runs the restructure,
# bulk insert and batch move benchmarks.
#
#   bench/run.sh [--no-build] [DIR]
#
# DIR (default: a temporary directory) receives the database files; it needs
# about 900 MB free. Each benchmark takes two to three minutes on a 2-core
# machine. Extra options go to the benchmarks through BENCH_ALTER_ARGS,
# BENCH_SQL_ARGS and BENCH_BATCHMOVE_ARGS, e.g. BENCH_ALTER_ARGS="--rows=200000 --runs=5".
set -euo pipefail
cd "$(dirname "$0")/.."

build=1
dir=
for a in "$@"; do
    case $a in
    --no-build) build=0 ;;
    -h | --help) awk 'NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "$0"; exit 0 ;;
    -*) echo "run.sh: unknown option $a" >&2; exit 2 ;;
    *) dir=$a ;;
    esac
done

if [ $build = 1 ]; then
    # Only what the benchmarks need; scripts/build.sh builds everything.
    cmake -S . -B build -G Ninja >/dev/null
    cmake --build build -j "$(nproc)" --target bench_alter bench_batchmove ostra
fi

if [ -z "$dir" ]; then
    dir=$(mktemp -d)
    trap 'rm -rf "$dir"' EXIT
fi
mkdir -p "$dir/alter" "$dir/sql" "$dir/batchmove"

echo "== bench_alter"
# shellcheck disable=SC2086
build/bench/bench_alter "$dir/alter" ${BENCH_ALTER_ARGS:-}
echo
echo "== bench_sql"
# shellcheck disable=SC2086
bash bench/bench_sql.sh "$dir/sql" ${BENCH_SQL_ARGS:-}
echo
echo "== bench_batchmove"
# shellcheck disable=SC2086
build/bench/bench_batchmove "$dir/batchmove" ${BENCH_BATCHMOVE_ARGS:-}
