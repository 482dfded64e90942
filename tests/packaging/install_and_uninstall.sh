#!/bin/sh
# `make install` puts everything below the prefix, where it works and can be built against; `make uninstall`
# takes it away.
set -eu
source=$1 work=$3
copy=$work/hostmem
root=$work/root
mkdir -p "$copy" "$root"
(cd "$source" && tar --exclude=./build --exclude=./build-* --exclude=./.git -cf - .) | tar -xf - -C "$copy"
cd "$copy"

# Where that can be, the folder is a user's, and root installs what he owns.
user=$(id -un)
if [ "$user" = root ]; then
   chmod o+x "$work" "$work/.."
   chown -R nobody:nogroup "$copy"
   if setpriv --reuid nobody --regid nogroup --clear-groups test -w "$copy/Makefile"; then
      user=nobody
      export CCACHE_DISABLE=1 # he has no home
   else
      chown -R root:root "$copy"
   fi
fi

echo "-- nothing installed"
if make uninstall 2>"$work/complaint"; then
   echo "uninstall succeeds with nothing installed"
   exit 1
fi
grep -Fx 'make uninstall: nothing has been installed from this folder' "$work/complaint"

echo "-- a prefix that the dynamic linker does not know"
make install PREFIX="$root/opt/hostmem"
installed=$root/opt/hostmem
test -z "$(find "$copy" ! -user "$user")"
test ! -e build/release
# shellcheck disable=SC2016 # the dynamic linker expands it
readelf -d "$installed/bin/hostmem" | grep -F '[$ORIGIN/../lib]'
"$installed/bin/hostmem" -r comp-stats
"$installed/bin/hostmem-snapshot" import samples/small-host.json -o "$work/host.snapshot"
"$installed/bin/hostmem" -c "$work/host.snapshot" -r vm-stats
"$installed/bin/hostmem-export" csv -c "$work/host.snapshot" -r vm-stats
"$installed/bin/hostmem-export" csv -r comp-stats # through the library that is installed
"$installed/bin/hostmem-overview" -c "$work/host.snapshot"
"$installed/bin/hostmem-overview" # through the library, too
"$installed/bin/hostmem-record" --help >"$work/help"
for page in hostmem hostmem-export hostmem-overview hostmem-record hostmem-snapshot hostmem-comp-stats; do
   gzip -t "$installed/share/man/man8/$page.8.gz"
   grep -q '</html>' "$installed/share/doc/hostmem/manuals/$page.8.html"
done
for host in small-host hypervisor-host; do
   "$installed/bin/hostmem-snapshot" import "$installed/share/doc/hostmem/examples/$host.json" -o "$work/$host.snapshot"
done
test -x "$installed/share/doc/hostmem/examples/read_snapshot.py"
test -s "$installed/share/doc/hostmem/examples/snapshot.fbs"
for document in columns cookbook linux troubleshooting; do
   cmp "docs/$document.md" "$installed/share/doc/hostmem/$document.md"
done
test -s "$installed/share/bash-completion/completions/hostmem"
test -s "$installed/share/zsh/site-functions/_hostmem"
test -s "$installed/share/fish/vendor_completions.d/hostmem.fish"

cat >"$work/program.c" <<'PROGRAM'
#include <nevra/nevra.h>

int main(void)
{
   Nevra_ParamList *list = Nevra_ParamListCreate(NEVRA_LIST_INSTANCE, 1);
   NevraStatus status = Nevra_ParamListAddInt(list, 7);
   uint32_t used = Nevra_ParamListUsedCount(list);
   Nevra_ParamListDestroy(list);
   return status == NEVRA_OK && used == 1 ? 0 : 1;
}
PROGRAM
printf '#include <nevra/records.h>\nint main() { return sizeof(GroupNameRecord) == 64 ? 0 : 1; }\n' >"$work/program.cpp"
PKG_CONFIG_PATH=$installed/lib/pkgconfig
export PKG_CONFIG_PATH
version=$(sed -n 's/^project(hostmem VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
test "$(pkg-config --modversion nevra)" = "$version"
# shellcheck disable=SC2046 # words are meant to be split
cc -o "$work/c-program" "$work/program.c" $(pkg-config --cflags --libs nevra)
LD_LIBRARY_PATH=$installed/lib "$work/c-program"
# shellcheck disable=SC2046 # words are meant to be split
c++ -std=c++20 -o "$work/cxx-program" "$work/program.cpp" $(pkg-config --cflags nevra)
"$work/cxx-program"

make uninstall
test -z "$(find "$root" ! -type d)"
test -z "$(find "$root" ! -path "$installed" \( -name '*hostmem*' -o -name nevra \))"
make uninstall 2>&1 | grep -Fx 'make uninstall: no installed file is left'
rm -rf "$root"

echo "-- a system prefix, in a folder of its own"
make install PREFIX=/usr DESTDIR="$root"
library_folder=$(dirname "$(find "$root/usr/lib" -name libnevra.so.1)")
if readelf -d "$root/usr/bin/hostmem" | grep -E 'RUNPATH|RPATH'; then
   echo "a search path where none is needed"
   exit 1
fi
LD_LIBRARY_PATH=$library_folder "$root/usr/bin/hostmem" -r comp-stats
test -s "$root/usr/share/zsh/vendor-completions/_hostmem"
test "$(find "$root" -type f -perm /022)" = ""
make uninstall DESTDIR="$root"
test -z "$(find "$root" ! -type d)"
test -z "$(find "$root" -name '*hostmem*' -o -name nevra)"
