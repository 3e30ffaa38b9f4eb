#!/usr/bin/env bash
# cmake --install into a temporary prefix, then use it as an application
# developer does: the layout, the programs, find_package(Ostra) with the
# example application, and pkg-config.
# Usage: tst_install.sh BUILD_DIR SOURCE_DIR VERSION WORK_DIR
# WORK_DIR keeps the built example for the package test (tst_package.sh).
set -euo pipefail
build=$1 src=$2 version=$3 work=$4
. "$src/tests/install/install_helper.sh"
rm -rf "$work"; mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null || fail "cmake --install"

libdir=$(cd "$prefix" && ls -d lib*/libostengine.so | xargs dirname)
for f in bin/ostra bin/ostra-studio include/ostra/engine/ostdataset.h include/ostra/engine/ostquery.h \
         include/ostra/engine/types/osttypes.h include/ostra/engine/base/tdatamodule.h include/ostra/engine/ostversion.h \
         "$libdir/libostengine.so.${version%%.*}" "$libdir/ostra/dclostra.so" "$libdir/cmake/Ostra/OstraConfig.cmake" \
         "$libdir/pkgconfig/ostra.pc" share/ostra/help/10100.md; do
  [ -e "$prefix/$f" ] || fail "not installed: $f"
done
plugin=$(find "$prefix" -path '*/sqldrivers/libqsqlostra.so')
[ -n "$plugin" ] || fail "QOSTRA not installed into a sqldrivers folder"
# Nothing installed looks into the build tree, and the programs find the
# installed libraries by themselves.
for f in "$prefix"/bin/* "$prefix/$libdir"/ostra/*.so "$plugin"; do
  dyn=$(readelf -d "$f")
  if [[ $(grep -E 'R(UN)?PATH' <<<"$dyn") == *"$build"* ]]; then fail "$f searches the build tree"; fi
done
out=$(env -u LD_LIBRARY_PATH "$prefix/bin/ostra" --version) || fail "ostra --version"
[ "$out" = "ostra $version" ] || fail "ostra --version says '$out'"
out=$(QT_QPA_PLATFORM=offscreen "$prefix/bin/ostra-studio" --version) || fail "ostra-studio --version"
grep -q "$version" <<<"$out" || fail "ostra-studio --version says '$out'"
# The Studio starts and loads its package from the installed place.
out=$(cd "$work" && QT_QPA_PLATFORM=offscreen "$prefix/bin/ostra-studio" --no-splash --exit-after-start 2>&1) \
  || fail "ostra-studio: $out"
grep -q '^ready' <<<"$out" || fail "ostra-studio did not start: $out"
if grep -qi 'dclostra\|package' <<<"$out"; then fail "ostra-studio: $out"; fi

make_notes "$prefix/bin/ostra" "$work"

# find_package(Ostra) and Ostra::Engine, as the example's CMakeLists has it.
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$src/examples/notes" -B "$work/example" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "${launcher[@]}" >/dev/null \
  || fail "configuring the example"
cmake --build "$work/example" >/dev/null || fail "building the example"
check_example "$work/example/notes" "$work"

# pkg-config --cflags --libs ostra
flags=$(PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig" pkg-config --cflags --libs ostra) || fail "pkg-config ostra"
g++ -std=c++20 -fPIC -o "$work/notes-pc" "$src/examples/notes/main.cpp" $flags -Wl,-rpath,"$prefix/$libdir" \
  || fail "building with pkg-config"
out=$("$work/notes-pc" "$work/Notes.ostdm" coffee) || fail "the pkg-config build: $out"
grep -q '^1 notes hold "coffee"' <<<"$out" || fail "the pkg-config build: $out"
echo "install: ok"
