#!/usr/bin/env bash
# The tests of storage and recovery that could go on for ever, for a quarter of an hour or more
# instead of a minute: processes killed 500 times, readers beside a writer for 50 s, every call to
# the disk stopped or failed in many ways, each read failing, memory running out, 10,000 openings of a user
# who may not write, 10,000 bytes of the bulk file and each of the catalogue's first pages damaged.
#
#   scripts/long_tests.sh [THOROUGHNESS]    how often as much as usual; 25 when it is left out
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${build_packages[@]}" "${test_packages[@]}"
build release build/release -DORQ_BUILD_TESTS=ON -DORQ_BUILD_BENCHMARKS=OFF

begin_step "Testing storage and recovery at length"
ORQ_TEST_THOROUGHNESS=${1:-25} ctest --preset release --no-tests=error --timeout 7200 \
    --tests-regex '^(reliability_tests|database_tests)\.'

printf '\nAll long tests passed.\n'
