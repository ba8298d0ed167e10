#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# install.sh BUILD_FOLDER SOURCE_FOLDER [DPKG-BUILDPACKAGE-OPTIONS...]: packs what the build folder holds,
# looks at the packages, unpacks them into an empty root, runs the device from there as its service would, and
# builds the example against it.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=../device.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../device.sh"
build=$1
source=$2
shift 2
root=$work/root

# Level 4: what is exported is what debian/*.symbols lists.
PLIX_BUILD_FOLDER=$build DEB_BUILD_OPTIONS=noautodbgsym DPKG_GENSYMBOLS_CHECK_LEVEL=4 \
    "$source/tools/debs" "$work" "$@" >"$work/log" 2>&1 || fail "not packed"
lintian --allow-root --info --pedantic --fail-on error,warning,info,pedantic "$work"/*.changes \
    >"$work/log" 2>&1 || fail "lintian complains"
: >"$work/log"

# package NAME: its file.
package() { echo "$work/$1"_*.deb; }
depends() { dpkg-deb -f "$(package "$1")" Depends; }

# The beginnings of their names, which go on differently in Debian 12 and 13.
for needed in libsoup libqt5core5 openssl glib-networking; do
    [[ ", $(depends plix-webserver)" == *", $needed"* ]] || fail "plix-webserver needs $needed"
done
for name in plix-simulator libplix-dev; do
    [[ $(depends "$name") == *"plix-webserver (= "* ]] || fail "$name fits any plix-webserver"
done
twice=$(for file in "$work"/*.deb; do dpkg-deb -c "$file"; done |
    awk '!/\/$/ { print $6 }' | sort | uniq -d)
[ -z "$twice" ] || fail "in two packages: $twice"

# The device has to run without the development files.
for name in plix-webserver plix-simulator plix-player-gstreamer; do
    [ ! -e "$(package "$name")" ] || dpkg-deb -x "$(package "$name")" "$root"
done
libraries=$(dirname "$(find "$root/usr/lib" -name 'libplix_api.so.*' | head -n 1)")
plugins=$libraries/plix
web=$root/usr/share/plix/web
diff -r "$source/web" "$web" || fail "the web interface is incomplete"
# Not the build folder's.
echo packed >"$web/packed.txt"

# What compiler and linker can do against faults, and nothing of the folders of this machine.
fortified=no
while read -r file; do
    elf=$(readelf -hldW --dyn-syms "$file")
    for expected in ' DYN (' GNU_RELRO BIND_NOW __stack_chk_fail; do
        [[ $elf == *"$expected"* ]] || fail "$file lacks $expected"
    done
    [[ $elf != *RUNPATH* ]] || fail "$file has a search path of its own"
    ! grep -qaF -e "$build/" -e "$source/src/" "$file" || fail "$file names the folder that it was built in"
    [[ $elf != *_chk@GLIBC* ]] || fortified=yes
done < <(find "$root/usr/bin" "$libraries" -type f)
[ $fortified = yes ] || fail "nothing is fortified"

start_device env -i PATH="$PATH" G_DEBUG=fatal-criticals LD_LIBRARY_PATH="$libraries" \
    "$root/usr/bin/plixhost" --state "$work/state" \
    --set "settings:/webserver/port=$(free_port)" \
    --set "settings:/webserver/httpsPort=$(free_port)"
stray=$(awk '/libplix_/ { print $6 }' "/proc/$device_pid/maps" | grep -v "^$root/" | sort -u || true)
[ -z "$stray" ] || fail "not from the root: $stray"
answer=$(curl -s --max-time 10 \
    "http://localhost:$http_port/api/getData?path=player:player/volume&roles=title")
[ "$answer" = '["Volume"]' ] || fail "getData answered $answer"
answer=$(curl -s --max-time 10 --cacert "$work/state/development-ca/ca.pem" \
    "https://127.0.0.1:$https_port/packed.txt")
[ "$answer" = packed ] || fail "the page is $answer"
stop_device

if [ -e "$(package plix-player-gstreamer)" ]; then
    for file in "$work"/*.deb; do
        [[ $(dpkg-deb -f "$file" Depends Recommends) != *plix-player-gstreamer* ]] ||
            fail "$file needs GStreamer"
    done
    [[ $(dpkg-deb -f "$(package plix-player-gstreamer)" Recommends) == *plugins-good* ]] ||
        fail "plix-player-gstreamer recommends no decoders"
    echo '{"do":"ping"}' | LD_LIBRARY_PATH=$libraries "$plugins/plix-playback" fakesink | grep -q alive ||
        fail "plix-playback does not answer"
fi

if command -v systemd-analyze >/dev/null; then
    sed "s|^ExecStart=|&$root/usr/bin/|" "$(find "$root" -name plixhost.service -type f)" \
        >"$work/plixhost.service"
    # With what the package for sound and the documentation add to it.
    drop_ins=$work/plixhost.service.d
    mkdir "$drop_ins"
    find "$root" -name sound.conf -exec cp {} "$drop_ins" \;
    sed -n 's/^    \(\[Service\]\|BindReadOnlyPaths=.*\)$/\1/p' \
        "$(dirname -- "${BASH_SOURCE[0]}")/../../docs/playing.md" >"$drop_ins/override.conf"
    complaints=$(systemd-analyze verify --man=no "$work/plixhost.service" 2>&1) || true
    [ -z "$complaints" ] || fail "$complaints"
fi

export LD_LIBRARY_PATH=$libraries
dpkg-deb -x "$(package libplix-dev)" "$root"
example=$root/usr/share/doc/libplix-dev/examples/minimal-platform
{ cmake -S "$example" -B "$work/example" -DCMAKE_PREFIX_PATH="$root/usr" &&
    cmake --build "$work/example"; } >"$work/log" 2>&1 || fail "the example does not build"
"$(dirname -- "${BASH_SOURCE[0]}")/../porting/minimalplatform.sh" \
    "$work/example/minimalplatform" "$plugins/libplix_webserver.so"

pkgconfig=$(dirname "$(find "$root/usr/lib" -name libplix_api.pc)")
read -ra flags <<<"$(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs \
    "$pkgconfig"/libplix_*.pc glib-2.0)"
"${CXX:-c++}" -std=c++17 "$example/minimalplatform.cpp" "${flags[@]}" \
    -o "$work/by-pkg-config" 2>"$work/log" || fail "pkg-config's flags are not enough"
