#!/usr/bin/env bash
# The README's first command: installs what a fresh Debian machine lacks for
# the tool (with apt-get), builds only the lyav tool (no tests, no benchmarks)
# and renders the demo.
# Usage: tools/demo.sh [OUTDIR]   (default: out/)
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
outdir=${1:-out}
build=$src/build-demo

packages=(cmake ninja-build g++ pkg-config libpng-dev libfreetype-dev fonts-dejavu-core)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    echo "installing: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake -S "$src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DLYAVUTILS_BUILD_TESTS=OFF -DLYAVUTILS_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target lyav
"$build/tools/lyav" demo "$outdir"
