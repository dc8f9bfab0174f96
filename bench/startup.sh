#!/bin/sh
# Quillmont's start-up time and idle memory under a virtual X display, against a bare
# Qt window. Build first (scripts/test.sh or scripts/run.sh builds everything).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
command -v xvfb-run >/dev/null || { echo "install xvfb (apt-get install xvfb xauth)"; exit 1; }
exec xvfb-run -a -s "-screen 0 1600x1000x24" "$root/build/bench/bench_startup" "$root/build/quillmont" "${1:-7}"
