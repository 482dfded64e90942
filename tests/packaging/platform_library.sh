#!/bin/sh
# hostmem is built against another platform library, one that answers as a script says, and runs on it.
set -eu
source=$1 packages=$2 work=$3
platform=$work/platform/lib
mkdir -p "$platform"
c++ -std=c++20 -O1 -shared -fPIC -I"$source" -I"$source/nevra/include" -Wl,-soname,libnevra.so.1 \
   -Wl,--version-script="$source/tests/scripted/exports.map" \
   -o "$platform/libnevra.so.1" "$source/tests/scripted/scripted_platform.cpp"
heap=other-platform
{
   echo "list system_heaps 0 = s$heap"
   printf 'record system_heaps_stats 0 %s%0*d s%s\n' "$(printf %s "$heap" | od -An -tx1 | tr -d ' \n')" 268 0 "$heap"
} >"$work/script"
export NEVRA_SCRIPT="$work/script"

# run EXECUTABLE: its heap report has the heap that the other library knows of.
run() { "$@" -r heap-stats -q -s name | tee "$work/report" && grep -qx "$heap" "$work/report"; }

cmake -S "$source" -B "$work/build" -G Ninja -DHOSTMEM_PLATFORM_LIBRARY="$platform/libnevra.so.1" \
   -DCMAKE_INSTALL_PREFIX=/opt/hostmem
cmake --build "$work/build" -j 2
echo "-- in the build tree"
run "$work/build/bin/hostmem"

echo "-- installed, by way of the environment"
DESTDIR=$work/root cmake --install "$work/build" --strip
installed=$work/root/opt/hostmem/bin/hostmem
if readelf -d "$installed" | grep -E 'RUNPATH|RPATH' || strings -a "$installed" | grep -F "$platform"; then
   echo "a search path where none is needed"
   exit 1
fi
test ! -e "$work/root/opt/hostmem/bin/hostmem-snapshot"
test -z "$(find "$work/root" -name 'libnevra*')"
run env LD_LIBRARY_PATH="$platform" "$installed"

echo "-- installed, by way of the search path inside"
cmake -S "$source" -B "$work/build" -DCMAKE_INSTALL_RPATH="$platform"
cmake --build "$work/build" -j 2
DESTDIR=$work/root cmake --install "$work/build"
run "$installed"

echo "-- the executable of the packages, by way of the environment"
dpkg-deb -x "$packages"/hostmem_*.deb "$work/package"
run env LD_LIBRARY_PATH="$platform" "$work/package/usr/bin/hostmem"
