#!/usr/bin/env bash
# cpack -G DEB, then the package as a user of Debian 12 gets it: its name,
# its dependencies, its files, and - unpacked with dpkg -x anywhere - ostra
# --version and the example application (built by tst_install.sh) on it.
# Usage: tst_package.sh BUILD_DIR SOURCE_DIR VERSION WORK_DIR
set -euo pipefail
build=$1 src=$2 version=$3 work=$4
. "$src/tests/install/install_helper.sh"
[ -x "$work/example/notes" ] || fail "the example of the install test is missing"
pkg=$work/package; rm -rf "$pkg"; mkdir -p "$pkg"
(cd "$pkg" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$pkg" >cpack.log 2>&1) \
  || { cat "$pkg/cpack.log" >&2; fail "cpack -G DEB"; }
deb=$pkg/ostra_${version}_$(dpkg --print-architecture).deb
[ -f "$deb" ] || fail "no $(basename "$deb"): $(ls "$pkg")"

depends=$(dpkg-deb -f "$deb" Depends)
for p in libqt6core6 libqt6widgets6 libqt6sql6 libsqlite3-0 libicu libssl3; do
  grep -q "$p" <<<"$depends" || fail "Depends lacks $p: $depends"
done
if grep -q "ostra\|not found" <<<"$depends"; then fail "Depends names what the package holds: $depends"; fi
files=$(dpkg-deb -c "$deb")
for f in ./usr/bin/ostra ./usr/bin/ostra-studio ./usr/include/ostra/engine/ostdataset.h \
         ./usr/lib/x86_64-linux-gnu/qt6/plugins/sqldrivers/libqsqlostra.so; do
  grep -q " $f\$" <<<"$files" || fail "not in the package: $f"
done

root=$pkg/root
dpkg -x "$deb" "$root"
out=$(env -u LD_LIBRARY_PATH "$root/usr/bin/ostra" --version) || fail "unpacked ostra --version"
[ "$out" = "ostra $version" ] || fail "unpacked ostra --version says '$out'"
libdir=$(dirname "$(cd "$root" && ls usr/lib*/libostengine.so)")
dir=$pkg/data; mkdir -p "$dir"
make_notes "$root/usr/bin/ostra" "$dir"
export LD_LIBRARY_PATH=$root/$libdir
# (output captured first: grep -q leaving early would end ldd with SIGPIPE under pipefail)
deps=$(ldd "$work/example/notes")
grep -q "$root/$libdir/libostengine.so" <<<"$deps" || fail "the example does not use the package's engine: $deps"
check_example "$work/example/notes" "$dir"
echo "package: ok"
