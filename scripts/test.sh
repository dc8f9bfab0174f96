#!/bin/sh
# Installs what is missing, builds Quillmont and runs every test.
set -eu
. "$(dirname "$0")/setup.sh"
ctest --test-dir "$QM_BUILD" --output-on-failure --parallel "$(nproc)"
