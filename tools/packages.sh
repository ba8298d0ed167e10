# SPDX-License-Identifier: MIT

# shellcheck shell=bash disable=SC2034
# The Debian packages that the commands at the repository's root need, and how they are installed.
# Sourced by them.

build_packages=(
    g++ cmake ninja-build pkg-config
    qtbase5-dev libsoup2.4-dev libglib2.0-dev liblog4cplus-dev rapidjson-dev
    glib-networking libssl-dev openssl
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
    libtag1-dev libqt5sql5-sqlite
)
test_packages=(
    build-essential chrpath curl debhelper dpkg-dev esbuild ffmpeg gstreamer1.0-libav gstreamer1.0-plugins-base
    gstreamer1.0-plugins-good iproute2 lintian mypy node-typescript python3 python3-jsonschema
    python3-setuptools python3-wheel python3-yaml valgrind
)
# Tests take these from elsewhere too, if they are there.
command -v chromium >/dev/null || test_packages+=(chromium)
command -v firefox-esr >/dev/null || test_packages+=(firefox-esr)
command -v node >/dev/null || test_packages+=(nodejs)
command -v npm >/dev/null || test_packages+=(npm)
bench_packages=(
    wrk nginx-light lighttpd mpd ffmpeg curl python3 strace valgrind libbenchmark-dev nlohmann-json3-dev
)
check_packages=(git clang-format clang-tidy)
fuzz_packages=(clang libclang-rt-14-dev llvm libhttp-parser-dev)

# install_packages NAME...: installs what is missing. Needs no network when nothing is.
install_packages() {
    local missing=() package installed
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        grep -qxF "$package installed" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages; as root: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -y -q)
    # The package lists of a fresh machine are empty, those of an old one outdated.
    "${apt[@]}" install --no-install-recommends "${missing[@]}" >&2 ||
        { "${apt[@]}" update >&2 &&
            "${apt[@]}" install --no-install-recommends "${missing[@]}" >&2; }
}

# install_node_modules FOLDER: what its package-lock.json pins. Needs no network when it is there.
install_node_modules() {
    [ "$1/node_modules/.package-lock.json" -nt "$1/package-lock.json" ] ||
        npm --prefix "$1" ci --no-audit --no-fund >&2
}
