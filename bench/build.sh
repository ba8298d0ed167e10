# shellcheck shell=bash
# Sourced by the commands of this folder, after tools/packages.sh and with $root set: builds the
# device and what it is measured with into $bench_build.

bench_build=$root/build-release

build_bench() {
    (cd "$root" && cmake --preset release -DPLIX_BENCHMARKS=ON) >&2
    ninja -C "$bench_build" --quiet bench >&2
}
