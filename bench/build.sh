# SPDX-License-Identifier: MIT

# shellcheck shell=bash
# Sourced by the commands of this folder, after tools/packages.sh and with $root set: builds the
# device as ./run does, and what it is measured with, into $bench_build.

bench_build=$root/build-bench

build_bench() {
    (cd "$root" && cmake --preset default -B "$bench_build" -DPLIX_BENCHMARKS=ON -DPLIX_TESTS=OFF) >&2
    ninja -C "$bench_build" --quiet bench >&2
}
