#!/usr/bin/env bash
# Builds the Debian package (scripts/package.sh) and checks it as a distribution would: lintian
# without errors (its warnings listed), the desktop entry, the AppStream metainfo, the MIME
# file, the manual pages without a warning, and the programs run from the package's files
# unpacked into a scratch root.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/package.sh >/dev/null
deb=$(ls dist/kandorpe_*.deb)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg -x "$deb" "$root"
share=$root/usr/share
echo "$deb: $(du -k "$deb" | cut -f1) KiB"

echo "-- lintian"
status=0
findings=$(lintian --fail-on error "$deb" 2>&1) || status=$?
grep -v 'running with root privileges' <<<"$findings" || true
[ "$status" -eq 0 ] || { echo "lintian found errors" >&2; exit 1; }

echo "-- desktop entry, metainfo, MIME types"
desktop-file-validate "$share/applications/kandorpe.desktop"
appstreamcli validate --no-net --explain "$share"/metainfo/*.metainfo.xml
xmllint --noout "$share/mime/packages/kandorpe.xml"
# shared-mime-info itself must take the file and map the endings to the two types (its globs
# ignore case, so *.IES and *.LDT are the same entries).
XDG_DATA_DIRS=$share update-mime-database "$share/mime" 2>&1 | { ! grep .; }
for type in 'application/x-iesna:*.ies' 'application/x-eulumdat:*.ldt'; do
    grep -qxF "$type" "$share/mime/globs" || { echo "MIME database lacks $type" >&2; exit 1; }
done

echo "-- manual pages"
for page in "$share"/man/man1/*.1.gz; do
    warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || { echo "$page: $warnings" >&2; exit 1; }
done
ls "$share"/man/man1

echo "-- the programs from the unpacked package"
for program in kandorpe kandor-lint kandor-convert kandor-host kandor-settings; do
    "$root/usr/bin/$program" --version | head -1
    "$root/usr/bin/$program" --help >/dev/null
done
test -f "$share/kandorpe/help/Lumivex_PE-HTML/topic-402.html" || { echo "no help pages" >&2; exit 1; }
echo "package checks passed"
