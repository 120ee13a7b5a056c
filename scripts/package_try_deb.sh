#!/usr/bin/env bash
# The Debian packages on this system as dpkg installs them, and off it again; but on a layer above its files, which vanishes.
# Root only.
#   package_try_deb.sh PACKAGE...
set -euo pipefail

if [[ -z ${VEKAPI_LAYER:-} ]]; then
  VEKAPI_LAYER=$(mktemp -d)
  export VEKAPI_LAYER
  trap 'rmdir "$VEKAPI_LAYER"' EXIT
  unshare --mount "$0" "$@"
  exit
fi

layer=$VEKAPI_LAYER
mount -t tmpfs none "$layer"
mkdir "$layer"/{above,work,root}
mount -t overlay none -o "lowerdir=/,upperdir=$layer/above,workdir=$layer/work" "$layer/root"
for part in dev proc; do mount --rbind "/$part" "$layer/root/$part"; done
mount -t tmpfs none "$layer/root/tmp"
cp "$@" "$layer/root/tmp"
exec chroot "$layer/root" bash -euo pipefail -c '
  cd /tmp
  dpkg -i ./*.deb
  examples=/usr/share/doc/libvekapi-dev/examples
  cmake -S $examples/project -B cmake && cmake --build cmake
  mkdir make && make -C make -f $examples/project/Makefile VPATH=$examples/project
  exec {told}< <(exec veksim --port 0)
  server=$!
  read -r line <&$told
  echo "$line"
  for built in cmake make; do $built/minimal "${line##* TCPClient:}"; done
  kill $server
  dpkg -r vekapi-tools libvekapi-dev libvekapi0
  left=$(find /usr/include /usr/lib /usr/bin /usr/share -iname "*vekapi*" -o -name "vek*" -path "*/bin/*")
  [[ -z $left ]] || { echo "left behind: $left"; exit 1; }'
