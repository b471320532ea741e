#!/usr/bin/env bash
# Runs every real model file of the shared collections through every pair of formats, with VTK and small parsers as
# readers of what comes out, and fails where less comes through than should: see tests/tools/exchange_corpus.py. Takes
# some four minutes on two cores. Says so where the collections are not on this machine.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${build_packages[@]}" python3-vtk9
build release build/release
begin_step "Exchanging all real model files"
status=0
/usr/bin/python3 tests/tools/exchange_corpus.py build/release/tools/orqmodel/orqmodel "${ORQ_SHARED_CORPUS:-../shared/corpus}" \
    --jobs "$jobs" || status=$?
if [[ $status -eq 77 ]]; then
    echo "Nothing was exchanged."
    exit 0
fi
exit "$status"
