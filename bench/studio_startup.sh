#!/usr/bin/env bash
# Start-up time of Ostra Studio to a usable window. Builds nothing: it runs
# the Studio already built in BUILD_DIR (default: build) with
# --exit-after-start, which prints "ready <ms since the process started>"
# once the main window is on screen and the event loop is idle.
#
#   bench/studio_startup.sh [RUNS] [-- EXTRA STUDIO ARGUMENTS]
#
# RUNS (default 10) runs with the splash screen and as many with --no-splash,
# offscreen (QT_QPA_PLATFORM=offscreen), each with settings in a temporary
# folder. Prints min, median and max in milliseconds for both.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=10
extra=()
while [ $# -gt 0 ]; do
    case $1 in
    --) shift; extra=("$@"); break ;;
    -h | --help) awk 'NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "$0"; exit 0 ;;
    *[!0-9]* | '') echo "studio_startup.sh: RUNS must be a number, got '$1'" >&2; exit 2 ;;
    *) runs=$1 ;;
    esac
    shift
done

studio="${BUILD_DIR:-build}/studio/ostra-studio"
if [ ! -x "$studio" ]; then
    echo "studio_startup.sh: $studio not found; build it first (cmake --build build --target ostra-studio)" >&2
    exit 1
fi

config=$(mktemp -d)
trap 'rm -rf "$config"' EXIT

# One line of "min median max" for a list of numbers.
stats() {
    sort -n | awk '{ v[NR] = $1 } END {
        if (NR == 0) { print "no runs"; exit }
        m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
        printf "min %6d  median %8.1f  max %6d  (ms, %d runs)\n", v[1], m, v[NR], NR }'
}

measure() {
    local label=$1; shift
    local times=()
    for ((i = 0; i < runs; i++)); do
        local out
        out=$(QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME="$config" "$studio" --exit-after-start "$@" 2>/dev/null) || {
            echo "studio_startup.sh: $label run $((i + 1)) failed" >&2
            exit 1
        }
        local ms=${out##*ready }
        times+=("${ms%%[!0-9]*}")
    done
    printf '%-12s ' "$label"
    printf '%s\n' "${times[@]}" | stats
}

echo "Ostra Studio start-up to a usable window ($studio)"
measure "splash" ${extra[@]+"${extra[@]}"}
measure "no splash" --no-splash ${extra[@]+"${extra[@]}"}
