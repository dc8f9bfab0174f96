#!/bin/sh
# Builds Quillmont and its tests with AddressSanitizer and UndefinedBehaviorSanitizer in
# build-sanitize/ and runs every test there. Installs what is missing first, as test.sh.
set -eu
QM_SETUP_ONLY=1 . "$(dirname "$0")/setup.sh"
QM_SAN_BUILD="$QM_ROOT/build-sanitize"
cmake -S "$QM_ROOT" -B "$QM_SAN_BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQM_SANITIZE=ON -DQM_BUILD_BENCH=OFF
cmake --build "$QM_SAN_BUILD" --parallel "$(nproc)"

# Faults in Quillmont's own code stop the test at once; leaks and faults inside the system's
# libraries are told apart by the suppressions, each with its reason.
supp="$QM_ROOT/scripts/sanitize.supp"
export ASAN_OPTIONS="detect_leaks=1:fast_unwind_on_malloc=0:abort_on_error=1:strict_string_checks=1:detect_stack_use_after_return=0"
export LSAN_OPTIONS="suppressions=$supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:suppressions=$supp"
# Every allocation is unwound in full, which makes the tests several times slower: Qt
# Test's watchdog waits longer, and the random editing test takes its seed's first 2,000
# steps instead of 6,000.
export QTEST_FUNCTION_TIMEOUT=3600000
export QM_EDIT_MODEL_STEPS=2000
ctest --test-dir "$QM_SAN_BUILD" --output-on-failure --parallel "$(nproc)" --timeout 1800
