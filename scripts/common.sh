# shellcheck shell=bash disable=SC2034
# What the scripts share; sourced, not run. Leaves the shell in the root of the sources, where any
# failing command ends the script and names the step it was in.
set -Eeuo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

step="start"
jobs=$(nproc)
trap 'printf "\nFAILED in step: %s\n" "$step" >&2' ERR

build_packages=(g++ cmake ninja-build pkg-config libsqlite3-dev libpq-dev libxxhash-dev libfmt-dev libcli11-dev
                nlohmann-json3-dev libutfcpp-dev libexodusii-dev libexpat1-dev zlib1g-dev libpng-dev libeigen3-dev
                libfontconfig-dev libfreetype-dev libharfbuzz-dev fonts-dejavu-core python3
                pybind11-dev python3-dev python3-numpy)
test_packages=(libgtest-dev libgmock-dev clang clang-format libclang-rt-14-dev git
               python3-numpy python3-vtk9 python3-pandas python3-meshio python3-netcdf4 python3-h5py
               python3-pip python3-setuptools python3-wheel doxygen dpkg-dev libhdf5-dev liblmdb-dev libeigen3-dev postgresql)

# begin_step TEXT: names what follows, on the screen and in the message of a failure.
begin_step() {
    step=$1
    printf '\n== %s\n' "$step"
}

as_root() {
    if [[ $EUID -eq 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        printf 'error: this needs root or sudo: %s\n' "$*" >&2
        return 1
    fi
}

is_installed() {
    [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null || true) == installed ]]
}

# install_packages NAME...: installs those that are missing; needs no network when none is.
install_packages() {
    begin_step "Looking for packages"
    if ! command -v apt-get >/dev/null; then
        echo "No apt-get here; these Debian packages, or what corresponds to them, are needed: $*"
        return
    fi
    local package missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [[ ${#missing[@]} -eq 0 ]]; then
        echo "All are installed."
        return
    fi
    begin_step "Installing ${missing[*]}"
    as_root apt-get update -q
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# build PRESET FOLDER [CMAKE ARGUMENT...]: configures and builds a preset in that folder.
build() {
    local preset=$1 folder=$2
    shift 2
    begin_step "Building $preset in $folder"
    cmake --preset "$preset" -B "$folder" "$@"
    cmake --build "$folder" --parallel "$jobs"
}
