#!/bin/sh
# Checks that what is built is hardened, and that other platform libraries can still take its library's place.
# usage: hardening.sh SOURCE BUILD LIBRARY EXECUTABLE...
set -eu
export LC_ALL=C
source=$1
build=$2
library=$3
shift 3
failures=0

# expect MESSAGE COMMAND...: the command succeeds.
expect()
{
   message=$1
   shift
   if ! "$@" >/dev/null; then
      echo "$file: $message"
      failures=$((failures + 1))
   fi
}
refuse()
{
   message=$1
   shift
   if "$@" >/dev/null; then
      echo "$file: $message"
      failures=$((failures + 1))
   fi
}
has() { grep -Eq -- "$2" "$work/$1"; }

check_file()
{
   file=$1
   readelf -hlW "$file" >"$work/headers"
   readelf -dW "$file" >"$work/dynamic"
   nm -D --undefined-only "$file" >"$work/imports"
   strings -a "$file" >"$work/strings"
   expect "not position-independent" has headers 'Type: +DYN'
   expect "relocations stay writable" has headers 'GNU_RELRO'
   expect "symbols are bound late" has dynamic 'FLAGS_1\).*NOW'
   expect "no word on the stack's permissions" has headers 'GNU_STACK'
   refuse "an executable stack" has headers 'GNU_STACK.* RWE '
   refuse "memory both writable and executable" has headers 'LOAD.* RWE '
   refuse "relocations in code" has dynamic 'TEXTREL'
   expect "no stack protector" has imports '__stack_chk_fail'
   expect "no fortified function" has imports '__(printf|snprintf|vsnprintf|memcpy)_chk'
   refuse "printf is not fortified" has imports ' printf'
   refuse "looks for libraries in the working directory" has dynamic '\(RUNPATH\).*(\[:|::|:\])'
   refuse "names the folder of its sources" grep -F -- "$source/" "$work/strings"
   refuse "names the folder of its build" grep -F -- "$build/" "$work/strings"
   if [ "$(uname -m)" = x86_64 ]; then
      expect "indirect jumps are not tracked" test "$(objdump -d "$file" | grep -c endbr64)" -gt 100
   fi
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

check_file "$library"
refuse "binds its own symbols first" has dynamic 'SYMBOLIC'
refuse "carries a search path" has dynamic '\((RUNPATH|RPATH)\)'
nm -D --defined-only "$library" | awk '{ print $3 }' >"$work/exports"
refuse "exports more than the platform interface" grep -Ev '^(NEVRA_NODE_|Nevra_|Warning$|Str_Strcpy$)' "$work/exports"

for executable; do
   check_file "$executable"
   expect "not a position-independent executable" has dynamic 'FLAGS_1\).*PIE'
   refuse "carries a search path that goes before the environment's" has dynamic '\(RPATH\)'
   case "$executable" in
   */hostmem)
      expect "does not need libnevra.so.1" has dynamic 'NEEDED.*\[libnevra\.so\.1\]'
      expect "carries the platform library inside" has imports ' U Nevra_Get$'
      ;;
   esac
done

[ "$failures" -eq 0 ]
