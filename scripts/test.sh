#!/usr/bin/env bash
# All checks: format, then every test, optimised with GCC and again with Clang under the sanitizers.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# test_preset PRESET [CMAKE ARGUMENT...]: builds it and runs its tests.
test_preset() {
    local preset=$1
    shift
    build "$preset" "build/$preset" -DORQ_BUILD_TESTS=ON "$@"
    begin_step "Testing $preset"
    ctest --preset "$preset" --parallel "$jobs" --no-tests=error
}

# The browser shows the pages that draw makes.
install_packages "${build_packages[@]}" "${test_packages[@]}" chromium

begin_step "Checking the format of the sources"
# The sources may belong to another user than the one who runs this.
git -c safe.directory="$PWD" ls-files -z -- '*.h' '*.cpp' |
    xargs --null --no-run-if-empty clang-format --dry-run --Werror

# With the benchmarks, which check on small data that they read what they wrote.
test_preset release -DORQ_BUILD_BENCHMARKS=ON
test_preset asan-ubsan -DORQ_BUILD_BENCHMARKS=OFF

printf '\nAll checks passed.\n'
