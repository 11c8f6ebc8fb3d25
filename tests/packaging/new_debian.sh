#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Installs the packages in a Debian 12 made for it, runs their tests there, and takes them away again.
#
#   new_debian.sh PACKAGES OWN_ARCHITECTURE ARCHITECTURE...     PACKAGES holds a folder per architecture
#   new_debian.sh --inside OWN_ARCHITECTURE ARCHITECTURE...     what is done there
set -eu

if [ "$1" != --inside ]; then
  packages=$1
  shift
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  mkdir "$scratch/vekbf"
  for arch in "$@"; do
    mkdir -p "$scratch/vekbf/$arch"
    cp "$packages/$arch"/*.deb "$packages/$arch"/*.changes "$scratch/vekbf/$arch/"
    cp "$packages/$arch"/*.dsc "$packages/$arch"/*.tar.xz "$scratch/vekbf/$arch/" 2>/dev/null || true
  done
  cp "$0" "$scratch/vekbf/new_debian.sh"
  chmod 755 "$scratch"
  # The root file system itself is thrown away.
  mmdebstrap --variant=apt --format=null --include=autopkgtest --skip=cleanup/apt/lists \
    --dpkgopt=force-unsafe-io \
    --customize-hook="copy-in '$scratch/vekbf' /opt" \
    --customize-hook="chroot \"\$1\" sh /opt/vekbf/new_debian.sh --inside $*" bookworm -
  exit
fi

shift
own=$1
shift
export DEBIAN_FRONTEND=noninteractive
cd /opt/vekbf
apt-get update -qq
# Any skipped test is a failure: here nothing is missing.
autopkgtest --no-built-binaries "$own"/*.deb "$own"/*.dsc -- null

echo "== side by side"
files=
for arch in "$@"; do
  dpkg --print-architecture | grep -qx "$arch" || dpkg --add-architecture "$arch"
  files="$files ./$(echo "$arch"/libvekbf2_*.deb) ./$(echo "$arch"/libvekbf-direction2_*.deb) ./$(echo "$arch"/libvekbf-stream2_*.deb) ./$(echo "$arch"/libvekbf-dev_*.deb)"
done
apt-get update -qq || echo "not all package lists could be renewed"
# shellcheck disable=SC2086 # words are wanted
apt-get install -y -qq --no-install-recommends $files >/dev/null
for arch in "$@"; do
  dpkg-query -W -f '${Package}:${Architecture} ${db:Status-Status}\n' "libvekbf2:$arch" "libvekbf-direction2:$arch" "libvekbf-stream2:$arch" "libvekbf-dev:$arch"
done
case " $* " in *" armhf "*) dpkg-query -W -f '${Package}:${Architecture} ${db:Status-Status}\n' neon-support:armhf ;; esac

echo "== purge"
apt-get purge -y -qq '?name(vekbf)' >/dev/null
left=$(find /etc /usr /var/lib -iname '*vekbf*' -not -path '/var/lib/apt/*')
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
echo "nothing is left"
