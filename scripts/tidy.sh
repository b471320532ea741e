#!/usr/bin/env bash
# clang-tidy over all sources but tests and benchmarks, with the checks of .clang-tidy; a warning is a
# failure. Builds with Clang first, for its compile commands and generated files. Takes some 20 minutes.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${build_packages[@]}" clang clang-tidy git
build clang build/clang -DORQ_BUILD_TESTS=OFF -DORQ_BUILD_BENCHMARKS=OFF
begin_step "Looking through the sources"
git -c safe.directory="$PWD" ls-files -z -- 'platform/*.cpp' 'ORQSrvSimServices/*.cpp' 'exchange/*.cpp' 'tools/*.cpp' 'examples/*.cpp' |
    xargs --null --max-procs "$jobs" --max-args 1 clang-tidy -p build/clang --quiet

printf '\nNo warnings.\n'
