#!/usr/bin/env bash
# The tests of storage and recovery that could go on for ever, at length: processes killed, readers beside
# a writer, every call to the disk stopped or failed in many ways, each read failing, memory running out,
# openings of a user who may not write, copies made beside a writer, bytes of the files damaged. Then all real
# model files through all formats (scripts/exchange_test.sh).
#
#   scripts/long_tests.sh [THOROUGHNESS]    how often as much as usual; 10 when it is left out
#
# With 10 it is meant to end within half an hour on two idle cores. Full depth is 25, which the numbers in
# docs/reliability.md are of: 500 killed processes, readers beside a writer for 50 s, 10,000 openings, 10,000
# bytes of the bulk file. A line says when each test starts and when it ends; the longest are those of memory
# that runs out, stops and copies. What fails is shown at once, with the number of the step.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${build_packages[@]}" "${test_packages[@]}"
build release build/release -DORQ_BUILD_TESTS=ON -DORQ_BUILD_BENCHMARKS=OFF

thoroughness=${1:-10}
begin_step "Testing storage and recovery $thoroughness times as thoroughly as usual"
ORQ_TEST_THOROUGHNESS=$thoroughness ctest --preset release --no-tests=error --timeout 7200 --parallel "$jobs" \
    --tests-regex '^(reliability_tests\.|database_tests\.|remote_tests$)'

begin_step "Exchanging real model files"
scripts/exchange_test.sh

printf '\nAll long tests passed.\n'
