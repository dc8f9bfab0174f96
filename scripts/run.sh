#!/bin/sh
# Installs what is missing, builds Quillmont and starts it. Arguments go to the program.
set -eu
. "$(dirname "$0")/setup.sh"
exec "$QM_BUILD/quillmont" "$@"
