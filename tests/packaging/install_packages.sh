#!/bin/sh
# Checks what packaging/install-packages does where it may install, where it may not, and where nothing is
# missing. The machine's own commands are out of its reach: only stand-ins that say how they were called.
# usage: install_packages.sh SOURCE
set -eu
program=$1/packaging/install-packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# stand_in NAME: a command whose text is read from standard input.
stand_in()
{
   { echo '#!/bin/sh' && cat; } >"$work/bin/$1"
   chmod +x "$work/bin/$1"
}

# A machine on which all packages but the given ones are installed, seen by the given user ID.
machine()
{
   rm -rf "${work:?}/bin" "$work/calls"
   mkdir "$work/bin"
   : >"$work/calls"
   user=$1
   shift
   echo "echo $user" | stand_in id
   echo "for package; do :; done; case ' $* ' in *\" \$package \"*) exit 1 ;; *) printf installed ;; esac" |
      stand_in dpkg-query
   echo "echo \"apt-get \$* (\$DEBIAN_FRONTEND)\" >>'$work/calls'" | stand_in apt-get
}

run()
{
   status=0
   PATH=$work/bin /bin/sh "$program" "$@" >"$work/out" 2>"$work/err" || status=$?
}

# expect WHAT EXPECTED ACTUAL
expect()
{
   if [ "$2" != "$3" ]; then
      printf '%s: expected "%s", got "%s"\n' "$1" "$2" "$3"
      failures=$((failures + 1))
   fi
}

machine 1000
run lint
expect "nothing missing: status" 0 "$status"
expect "nothing missing: output" "" "$(cat "$work/out" "$work/err")"
expect "nothing missing: calls" "" "$(cat "$work/calls")"

machine 1000 clang-format
run lint
expect "not root: status" 1 "$status"
expect "not root: message" "Please install these packages, as root: apt-get install clang-format" "$(cat "$work/err")"
expect "not root: calls" "" "$(cat "$work/calls")"

machine 1000 clang-format
echo 'exit 1' | stand_in sudo
run lint
expect "sudo asks for a password: status" 1 "$status"
expect "sudo asks for a password: calls" "" "$(cat "$work/calls")"

machine 1000 clang-format
echo "echo \"sudo \$*\" >>'$work/calls'" | stand_in sudo
run lint
expect "sudo: status" 0 "$status"
expect "sudo: calls" "sudo -n true
sudo -n apt-get install -y -q --no-install-recommends clang-format" "$(cat "$work/calls")"

machine 0 clang-format
run lint
expect "root: status" 0 "$status"
expect "root: output" "Installing clang-format: this may take some minutes" "$(cat "$work/out")"
expect "root: calls" "apt-get install -y -q --no-install-recommends clang-format (noninteractive)" "$(cat "$work/calls")"

machine 0 clang-format
rm "$work/bin/apt-get"
run lint
expect "no apt-get: status" 1 "$status"
expect "no apt-get: message" "Please install what these Debian packages hold: clang-format" "$(cat "$work/err")"

# Lists of packages that are out of date are brought up to date, and the installation is tried again.
machine 0 clang-format
echo "echo \"apt-get \$*\" >>'$work/calls'; case \"\$1\" in update) : >'$work/bin/updated' ;; *) [ -e '$work/bin/updated' ] ;; esac" |
   stand_in apt-get
run lint
expect "old lists: status" 0 "$status"
expect "old lists: calls" "apt-get install -y -q --no-install-recommends clang-format
apt-get update -q
apt-get install -y -q --no-install-recommends clang-format" "$(cat "$work/calls")"

# Packages that start services, of which one has several: none starts, and none is enabled. Where a policy is in place
# already, it stays.
machine 0
stand_in dpkg-query <<QUERY
for package; do :; done
case \$1 in
-L)
   echo "dpkg-query \$*" >>'$work/calls'
   printf '/lib/systemd/system/%s\n' '' node.service atop.service atop.service.d/local.conf atop-rotate.timer
   ;;
*) case \$package in strace | atop | prometheus-node-exporter) exit 1 ;; *) printf installed ;; esac ;;
esac
QUERY
echo "exec $(command -v sed) \"\$@\"" | stand_in sed
for name in tee chmod rm systemctl; do
   echo "echo \"$name \$*\" >>'$work/calls'" | stand_in "$name"
done
run bench
expect "services: status" 0 "$status"
expect "services: output" "Installing strace atop prometheus-node-exporter: this may take some minutes" "$(cat "$work/out")"
policy=/usr/sbin/policy-rc.d
if [ -e "$policy" ]; then
   before='' after=''
else
   before="tee $policy
chmod 755 $policy
" after="
rm -f $policy"
fi
expect "services: calls" "${before}apt-get install -y -q --no-install-recommends strace atop prometheus-node-exporter (noninteractive)
dpkg-query -L prometheus-node-exporter atop
systemctl disable --quiet node.service atop.service atop-rotate.timer$after" "$(cat "$work/calls")"

machine 0
run nonsense
expect "unknown purpose: status" 2 "$status"
expect "unknown purpose: calls" "" "$(cat "$work/calls")"

[ "$failures" -eq 0 ]
