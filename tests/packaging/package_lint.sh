#!/bin/sh
# The packages have no fault that lintian knows of, and none of their bytes names the folder they were made in.
set -eu
source=$1 build=$2 packages=$3 work=$4
if ! command -v lintian >/dev/null; then
   echo "no lintian here"
   exit 77
fi
lintian --fail-on error,warning --allow-root "$packages"/*.deb

for package in "$packages"/*.deb; do
   dpkg-deb --raw-extract "$package" "$work/tree"
   for text in "$source" "$build"; do
      if grep -rlaF -- "$text" "$work/tree"; then
         echo "${package##*/}: the files above hold \"$text\""
         exit 1
      fi
   done
   rm -rf "$work/tree"
done
