#!/usr/bin/env bash
# Runs a fuzzer for some time: scripts/fuzz.sh INPUT SECONDS, where INPUT is exodus, gmsh, vtu, bulk_data,
# layup, database or rows. What it finds lies in build/fuzz/findings; the inputs that reach something new are
# kept in build/fuzz/corpus, from which the next run goes on.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

if [[ $# -ne 2 ]]; then
    echo "usage: scripts/fuzz.sh exodus|gmsh|vtu|bulk_data|layup|database|rows SECONDS" >&2
    exit 2
fi
input=$1 seconds=$2

install_packages "${build_packages[@]}" clang libclang-rt-14-dev
build fuzz build/fuzz --log-level=WARNING
begin_step "Making seeds"
build/fuzz/fuzz/make_seeds build/fuzz/seeds examples/wing_box/wing_box_layup.json
mkdir -p "build/fuzz/corpus/$input" "build/fuzz/findings/$input"
begin_step "Fuzzing $input for $seconds seconds"
"build/fuzz/fuzz/fuzz_$input" -max_total_time="$seconds" -print_final_stats=1 -rss_limit_mb=4096 -malloc_limit_mb=2048 \
    -timeout=20 -artifact_prefix="build/fuzz/findings/$input/" \
    "build/fuzz/corpus/$input" "build/fuzz/seeds/$input"
