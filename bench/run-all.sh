#!/bin/sh
# Runs every benchmark and prints one table of their figures: each benchmark writes its
# figures on "@figure" lines (bench/QmBench.h) beside its own words, which go to a log
# per benchmark in the folder given (a temporary one by default). The preview window and
# the start-up run under Xvfb. Build first (cmake --build build).
#   bench/run-all.sh [log folder]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
bench="$root/build/bench"
logs=${1:-$(mktemp -d)}
mkdir -p "$logs"
command -v ffmpeg >/dev/null || { echo "needs ffmpeg"; exit 1; }
command -v xvfb-run >/dev/null || { echo "needs xvfb (apt-get install xvfb xauth)"; exit 1; }

load_before=$(cut -d' ' -f1-3 /proc/loadavg)
failed=""
run() {
    name=$1
    shift
    echo "== $name" >&2
    if ! "$@" >"$logs/$name.log" 2>&1; then
        # A benchmark whose figure misses its aim may say so by its exit status; only
        # one that wrote no figure failed.
        grep -q '^@figure' "$logs/$name.log" || failed="$failed $name"
    fi
}
run timeline "$bench/bench_timeline"
run render env QT_QPA_PLATFORM=offscreen "$bench/bench_render"
run editing env QT_QPA_PLATFORM=offscreen "$bench/bench_editing"
run media env QT_QPA_PLATFORM=offscreen "$bench/bench_media"
run project env QT_QPA_PLATFORM=offscreen "$bench/bench_project"
run memory env QT_QPA_PLATFORM=offscreen "$bench/bench_memory"
run preview "$bench/bench_preview"
run save "$bench/bench_save" --runs 3
run capture "$bench/bench_capture" --seconds 5
run window xvfb-run -a -s "-screen 0 1600x1000x24" "$bench/bench_window" "$root/build/quillmont"
run startup xvfb-run -a -s "-screen 0 1600x1000x24" "$bench/bench_startup" "$root/build/quillmont" 7
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

echo
echo "$(nproc) cores; load average $load_before before, $load_after after; logs in $logs"
{
    printf 'figure\tvalue\treference\tratio\taim\tholds\n'
    for name in timeline render editing media project memory preview save capture window startup; do
        grep -h '^@figure' "$logs/$name.log" 2>/dev/null | cut -f2-
    done
} | awk -F'\t' '
    { for (i = 1; i <= NF; ++i) { cell[NR, i] = $i; if (length($i) > width[i]) width[i] = length($i) } rows = NR }
    END {
        for (r = 1; r <= rows; ++r) {
            line = ""
            for (i = 1; i <= 6; ++i)
                line = line sprintf(i == 1 ? "%-" width[i] "s" : "  %" width[i] "s", cell[r, i])
            print line
        }
    }'
[ -z "$failed" ] || { echo "no figures from:$failed (see their logs)"; exit 1; }
