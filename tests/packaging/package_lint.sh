#!/bin/sh
# Neither the packages nor their source have a fault that lintian knows of, and none of their bytes names the folder
# they were made in.
set -eu
source=$1 packages=$2 work=$3
if ! command -v lintian >/dev/null; then
   echo "no lintian here"
   exit 77
fi
lintian --pedantic --fail-on error,warning,pedantic --allow-root "$packages"/*.changes

for package in "$packages"/*.deb; do
   dpkg-deb --raw-extract "$package" "$work/tree"
   if grep -rlaF -- "$source" "$work/tree"; then
      echo "${package##*/}: the files above hold \"$source\""
      exit 1
   fi
   rm -rf "$work/tree"
done
