#!/usr/bin/env bash
# Builds the fuzz targets (clang, libFuzzer, ASan/UBSan) into build-fuzz/ and
# runs each of them in turn, one at a time.
#
#   fuzz/run.sh [SECONDS]     long runs: SECONDS per target (default 600); the
#                             corpus grows in build-fuzz/corpus/<target>/, and
#                             crashes go to build-fuzz/findings/<target>/
#   fuzz/run.sh --smoke       the test suite's short run: the committed seeds,
#                             then a few seconds of fuzzing per target
#                             (OSTRA_FUZZ_SMOKE_SECONDS, default 5); what it
#                             finds is copied to build-fuzz/smoke-findings/
#   fuzz/run.sh --check       exits 0 when clang++ and the fuzzer runtime exist
#   fuzz/run.sh 600 filter    only the targets named (filter, tabledef, ...)
#
# Prints per target the executions and the findings; ends with
# "N passed, N failed". The exit code is 1 when any target found something.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
out=$root/build-fuzz
cxx=${OSTRA_FUZZ_CXX:-clang++}
cc=${OSTRA_FUZZ_CC:-clang}

have_fuzzer() {
  command -v "$cxx" >/dev/null 2>&1 || return 1
  local rt
  rt=$("$cxx" -print-file-name=libclang_rt.fuzzer-x86_64.a 2>/dev/null) || return 1
  [ -f "$rt" ] || rt=$("$cxx" -print-runtime-dir 2>/dev/null)/libclang_rt.fuzzer-x86_64.a
  [ -f "$rt" ]
}

mode=long seconds=600 only=()
for a in "$@"; do
  case "$a" in
    --check) have_fuzzer; exit $? ;;
    --smoke) mode=smoke; seconds=${OSTRA_FUZZ_SMOKE_SECONDS:-5} ;;
    *[!0-9]*)
      [ -f "fuzz/fuzz_$a.cpp" ] || { echo "usage: fuzz/run.sh [SECONDS | --smoke | --check] [TARGET...]" >&2; exit 2; }
      only+=("fuzz_$a") ;;
    *) seconds=$a ;;
  esac
done

if ! have_fuzzer; then
  echo "fuzz: $cxx with the libFuzzer runtime not found (Debian: clang-14 libclang-rt-14-dev)" >&2
  exit 2
fi

echo "fuzz: building into build-fuzz/"
if ! { CC=$cc CXX=$cxx cmake -S fuzz -B "$out" -G Ninja >/dev/null && cmake --build "$out" -j "$(nproc)" >"$out/build.log" 2>&1; }; then
  tail -30 "$out/build.log" 2>/dev/null
  echo "0 passed, 1 failed (the fuzz build failed)"
  exit 1
fi

targets=("${only[@]}")
if [ ${#targets[@]} -eq 0 ]; then
  for src in fuzz/fuzz_*.cpp; do targets+=("$(basename "$src" .cpp)"); done
fi

passed=0 failed=0
printf '%-20s %12s %10s %8s  %s\n' target executions exec/s findings result
for t in "${targets[@]}"; do
  name=${t#fuzz_}
  seeds=$root/fuzz/corpus/$name
  dict=()
  [ -f "$root/fuzz/$name.dict" ] && dict=(-dict="$root/fuzz/$name.dict")
  log=$out/$name.log; [ "$mode" = smoke ] && log=$out/smoke-$name.log
  if [ "$mode" = smoke ]; then
    corpus=$(mktemp -d)
    findings=$(mktemp -d)
    # The seeds alone first: each must pass.
    "$out/$t" -runs=0 -artifact_prefix="$findings/" "$seeds" >"$log" 2>&1
    rc=$?
    if [ $rc -eq 0 ]; then
      "$out/$t" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$findings/" "${dict[@]}" "$corpus" "$seeds" >>"$log" 2>&1
      rc=$?
    fi
    execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' | tail -1)
  else
    corpus=$out/corpus/$name
    findings=$out/findings/$name
    mkdir -p "$corpus" "$findings"
    # One worker process: the machine is shared. Crashes, timeouts and
    # out-of-memory cases are kept and the run goes on.
    "$out/$t" -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 -max_total_time="$seconds" \
      -timeout=20 -rss_limit_mb=2048 -artifact_prefix="$findings/" "${dict[@]}" "$corpus" "$seeds" >"$log" 2>&1
    rc=0
    execs=$(grep -o '^#[0-9]*' "$log" | tr -d '#' | tail -1)
  fi
  count=$(find "$findings" -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) | wc -l)
  rate=$(( ${execs:-0} / (seconds > 0 ? seconds : 1) ))
  if [ "$rc" -eq 0 ] && [ "$count" -eq 0 ]; then
    result=passed; passed=$((passed + 1))
  else
    result="FAILED (log: $log)"; failed=$((failed + 1))
    grep -m1 -A3 -E '^==[0-9]+==ERROR|^==== FINDING|runtime error|deadly signal|Timeout' "$log" | sed 's/^/    /'
  fi
  printf '%-20s %12s %10s %8s  %s\n' "$name" "${execs:-?}" "$rate" "$count" "$result"
  if [ "$mode" = smoke ]; then
    [ "$count" -gt 0 ] && mkdir -p "$out/smoke-findings/$name" && cp "$findings"/* "$out/smoke-findings/$name/" 2>/dev/null
    rm -rf "$corpus" "$findings"
  else
    [ "$count" -gt 0 ] && ls "$findings" | sed 's/^/    /'
  fi
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
