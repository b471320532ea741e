#!/usr/bin/env bash
# From a fresh machine to a model database that can be looked into: installs what the build needs,
# builds, imports the sample mesh with its layers, sets an analysis up on it, and prints and verifies what came of it.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

folder=build/quickstart
orqmodel=$folder/tools/orqmodel/orqmodel
database=$folder/wing_box.orq

# run COMMAND...: shows the command as the reader could type it, then runs it.
run() {
    begin_step "$*"
    "$@"
}

install_packages "${build_packages[@]}"
build release "$folder" -DORQ_BUILD_TESTS=OFF -DORQ_BUILD_BENCHMARKS=OFF

run "$orqmodel" import examples/wing_box/wing_box.e -o "$database" --force \
    --layup examples/wing_box/wing_box_layup.json
run "$folder/examples/wing_box_analysis" "$database"
run "$orqmodel" info "$database"
run "$orqmodel" layers "$database"
run "$orqmodel" layers "$database" "skin upper"
run "$orqmodel" verify "$database"
run "$orqmodel" check "$database"

printf '\nDone. The program is %s, the model database %s.\n' "$orqmodel" "$database"
