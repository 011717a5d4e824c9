#!/usr/bin/env bash
# Installs what building, testing and the demo need, from Debian's packages. Does nothing when all
# of it is there.
set -euo pipefail

packages=(g++ cmake ninja-build libboost-dev libgtest-dev libgmock-dev libbenchmark-dev
          clang-14 libclang-14-dev llvm-14 llvm-14-dev llvm-14-tools
          libclang-rt-14-dev csmith creduce python3)

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
