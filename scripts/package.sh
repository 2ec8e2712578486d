#!/usr/bin/env bash
# Builds Mavo's Debian package from a clean copy of the committed tree (nothing is written beside
# the repository) and prints the path of the .deb. Needs the packages of scripts/install-deps.sh.
#   bash scripts/package.sh [OUTPUT_DIR]      (default: build/package)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
bash scripts/install-deps.sh
out=$(realpath -m "${1:-$root/build/package}")
mkdir -p "$out"

work=$(mktemp -d /tmp/mavo-package.XXXXXX)
trap 'rm -rf "$work"' EXIT
# The files git knows, as they are in the working tree (uncommitted edits included).
mkdir "$work/mavo"
git ls-files -z --cached --others --exclude-standard |
    (cd "$root" && xargs -0 sh -c 'for f; do [ -e "$f" ] && printf "%s\0" "$f"; done' _) |
    tar -C "$root" --null -T - -cf - | tar -C "$work/mavo" -xf -

# A compiler cache, when there is one, is shared across the changing scratch folders.
if [ -n "${CCACHE_DIR:-}" ]; then export CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1; fi
(cd "$work/mavo" && dpkg-buildpackage -b -us -uc -j"$(nproc)") >"$work/build.log" 2>&1 || {
    tail -n 40 "$work/build.log"
    echo "package.sh: dpkg-buildpackage failed" >&2
    exit 1
}
rm -f "$out"/mavo_*.deb
cp "$work"/mavo_*.deb "$out/"
ls "$out"/mavo_*.deb
