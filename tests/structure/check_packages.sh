#!/usr/bin/env bash
# Makes the Debian packages of a build, installs them into an empty root, uses what they hold as a new
# user would, and removes them again.
#
#     check_packages.sh BUILD SOURCES SCRATCH CXX PYTHON
#
# Exits with 77, which skips the test, where dpkg is absent.
set -Eeuo pipefail
build=$1 sources=$2 scratch=$3 cxx=$4 python=$5
unset PYTHONPATH

if ! command -v dpkg-deb >/dev/null || ! command -v dpkg-shlibdeps >/dev/null; then
    echo "skipped: dpkg-dev is not there"
    exit 77
fi
rm -rf "$scratch"
mkdir -p "$scratch" && cd "$scratch"
cpack -G DEB --config "$build/CPackConfig.cmake" -B packages >cpack.log || { cat cpack.log; exit 1; }

root=$scratch/root
mkdir -p "$root"/{var/lib/dpkg/{info,updates},bin,sbin,etc}
touch "$root/var/lib/dpkg/status"
# Scripts of packages run within the root: a shell, and what tells the loader of new libraries.
for program in /bin/dash "$(PATH=$PATH:/sbin command -v ldconfig)"; do
    for file in $program $({ ldd "$program" || true; } 2>/dev/null | grep -o '/[^ ]*'); do
        install -D "$file" "$root/$file"
    done
done
ln -sf dash "$root/bin/sh"
# What they depend on is in the machine, not in this root.
dpkg="dpkg --root=$root --force-depends --log=$scratch/dpkg.log"
fail() {
    echo "FAILED: $*" >&2
    exit 1
}

if [[ $EUID -eq 0 ]]; then
    $dpkg --install packages/*.deb >install.log 2>&1 || { cat install.log; fail "packages are not installed"; }
else
    echo "unpacked, not installed: only root changes to another root"
    for package in packages/*.deb; do dpkg-deb -x "$package" "$root"; done
fi
"$root/usr/bin/orqmodel" --version
for file in usr/share/man/man1/orqmodel.1 usr/share/bash-completion/completions/orqmodel \
            usr/share/doc/ORQSrvBasic/docs/hosts.md usr/share/doc/ORQSrvBasic/examples/hello_model/hello_model.cpp; do
    [[ -e $root/$file ]] || fail "no package holds $file"
done
"$root/usr/bin/orqmodel" import "$sources/examples/wing_box/wing_box.e" -o wing_box.orq --quiet

# The first program of a host.
cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Hello CXX)
find_package(ORQSrvBasic REQUIRED)
add_executable(hello_model ${EXAMPLE})
target_link_libraries(hello_model PRIVATE ORQSrvBasic::ORQSrvBasic)
CMAKE
cmake -S . -B hello -D CMAKE_PREFIX_PATH="$root/usr" -D CMAKE_CXX_COMPILER="$cxx" \
    -D EXAMPLE="$root/usr/share/doc/ORQSrvBasic/examples/hello_model/hello_model.cpp" >hello.log
cmake --build hello >>hello.log || { cat hello.log; fail "hello_model is not built"; }
hello/hello_model hello.orq

if [[ -d $root/usr/lib/python3/dist-packages/orqmodel ]]; then
    PYTHONPATH=$root/usr/lib/python3/dist-packages "$python" "$sources/examples/hello_model/hello_model.py" python.orq
    # What one wrote, the other reads.
    "$root/usr/bin/orqmodel" verify python.orq --quiet
fi

[[ $EUID -eq 0 ]] || exit 0
$dpkg --remove orqmodel liborqsrvbasic-dev liborqsrvbasic0 \
    $(ls packages | grep -q python3 && echo python3-orqmodel) >remove.log 2>&1 || { cat remove.log; fail "packages are not removed"; }
left=$(find "$root/usr" ! -type d 2>/dev/null | grep -v -e "\.pyc$" -e /sbin/ldconfig || true)
[[ -z $left ]] || fail "removing left $left"
