#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# install.sh BUILD_FOLDER SOURCE_FOLDER: packs what the build folder holds, unpacks it into an empty
# root, runs the device from there as its service would, and builds the example against it.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=../device.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../device.sh"
build=$1
source=$2
root=$work/root

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 ||
    fail "cpack: $(tail -n 5 "$work/cpack.log")"

# package NAME: its file.
package() { echo "$work/$1"_*.deb; }
depends() { dpkg-deb -f "$(package "$1")" Depends; }

for needed in libsoup2.4-1 libqt5core5a openssl glib-networking; do
    [[ ", $(depends plix-webserver)" == *", $needed"* ]] || fail "plix-webserver needs $needed"
done
for name in plix-simulator libplix-dev; do
    [[ $(depends "$name") == *"plix-webserver (= "* ]] || fail "$name fits any plix-webserver"
done
for file in "$work"/*.deb; do
    name=$(dpkg-deb -f "$file" Package)
    [[ $(dpkg-deb -c "$file") == *"/usr/share/doc/$name/copyright"* ]] || fail "$name has no licence"
done
twice=$(for file in "$work"/*.deb; do dpkg-deb -c "$file"; done |
    awk '!/\/$/ { print $6 }' | sort | uniq -d)
[ -z "$twice" ] || fail "in two packages: $twice"

# The device has to run without the development files.
dpkg-deb -x "$(package plix-webserver)" "$root"
dpkg-deb -x "$(package plix-simulator)" "$root"
plugins=$(dirname "$(find "$root/usr/lib" -name libplix_webserver.so)")
web=$root/usr/share/plix/web
diff -r "$source/web" "$web" || fail "the web interface is incomplete"
# Not the source tree's, which the program would fall back to.
echo packed >"$web/packed.txt"

start_device env -i PATH="$PATH" G_DEBUG=fatal-criticals \
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
    dpkg-deb -x "$(package plix-player-gstreamer)" "$root"
    echo '{"do":"ping"}' | "$plugins/plix-playback" fakesink | grep -q alive ||
        fail "plix-playback does not answer"
fi

if command -v systemd-analyze >/dev/null; then
    sed "s|^ExecStart=|&$root/usr/bin/|" "$root/usr/lib/systemd/system/plixhost.service" \
        >"$work/plixhost.service"
    complaints=$(systemd-analyze verify --man=no "$work/plixhost.service" 2>&1) || true
    [ -z "$complaints" ] || fail "$complaints"
fi

dpkg-deb -x "$(package libplix-dev)" "$root"
example=$root/usr/share/doc/libplix-dev/examples/minimal-platform
{ cmake -S "$example" -B "$work/example" -DCMAKE_PREFIX_PATH="$root/usr" &&
    cmake --build "$work/example"; } >"$work/log" 2>&1 || fail "the example does not build"
"$(dirname -- "${BASH_SOURCE[0]}")/../porting/minimalplatform.sh" \
    "$work/example/minimalplatform" "$plugins/libplix_webserver.so"

pkgconfig=$(dirname "$(find "$root/usr/lib" -name libplix_api.pc)")
read -ra flags <<<"$(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs \
    "$pkgconfig"/libplix_*.pc glib-2.0)"
"${CXX:-c++}" -std=c++17 -fPIC "$example/minimalplatform.cpp" "${flags[@]}" \
    -o "$work/by-pkg-config" 2>"$work/log" || fail "pkg-config's flags are not enough"
