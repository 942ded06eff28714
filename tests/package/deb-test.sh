#!/usr/bin/env bash
# The Debian package unpacked into a scratch folder: the programs run from
# there, the manual pages are readable roff and the desktop entry is valid.
set -euo pipefail
build=$1
deb=$(ls -t "$build"/velkonf_*.deb | head -1)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
dpkg-deb -x "$deb" "$scratch"
dpkg-deb -f "$deb" Depends | grep -q libwx || { echo "no computed dependency on wxWidgets"; exit 1; }
for p in velkonf velkctl velkunit; do
  test -x "$scratch/usr/bin/$p"
  man -l "$scratch/usr/share/man/man1/$p.1.gz" 2>&1 >/dev/null | (! grep .) || { echo "$p.1 has roff warnings"; exit 1; }
done
"$scratch/usr/bin/velkctl" --help | grep -q "Usage: velkctl"
"$scratch/usr/bin/velkctl" set --help | grep -q "FIELD=VALUE"
"$scratch/usr/bin/velkunit" --help | grep -q "Usage: velkunit"
test -f "$scratch/usr/share/icons/hicolor/32x32/apps/velkonf.png"
desktop-file-validate "$scratch/usr/share/applications/velkonf.desktop"
echo "package ok: $deb"
