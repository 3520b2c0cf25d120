#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# `make package`: builds the Debian package fhrp-snmp into dist/ and checks it with lintian.
# The version is the one in CMakeLists.txt; debian/changelog is written from it here and exists
# only in the copy of the source that is built (dist/build/fhrp-snmp), so the two never
# disagree. dpkg-buildpackage leaves its results next to the source it builds, hence the copy.
# The copy's obj-* folder is kept between runs, so a rebuild compiles only what changed.
set -euo pipefail
cd "$(dirname "$0")/.."

version=$(sed -n 's/^project(fhrp-snmp VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
[ -n "$version" ] || { echo "package: no version in CMakeLists.txt" >&2; exit 1; }

stage=dist/build/fhrp-snmp
mkdir -p "$stage"
find "$stage" -mindepth 1 -maxdepth 1 ! -name 'obj-*' -exec rm -rf {} +
rm -f dist/build/*.deb dist/build/*.buildinfo dist/build/*.changes
# The worktree as git sees it (new and edited files included, ignored ones not), mtimes kept.
git ls-files -z --cached --others --exclude-standard | while IFS= read -r -d '' f; do [ -e "$f" ] && printf '%s\0' "$f"; done |
  xargs -0 cp -p --parents -t "$stage"

# The date of the last commit keeps the package reproducible (SOURCE_DATE_EPOCH comes from it).
date=$(git log -1 --format=%cD 2>/dev/null || date -R)
cat > "$stage/debian/changelog" <<CHANGELOG
fhrp-snmp ($version) unstable; urgency=medium

  * Built from $(git describe --always --dirty 2>/dev/null || echo "a source tree").

 -- fhrp-snmp maintainers <maintainers@fhrp-snmp.example.org>  $date
CHANGELOG

# The tests ran in `make test`; the package build only compiles the product, with Debian's
# flags, two jobs at most (the machines are shared).
jobs=$(( $(nproc 2>/dev/null || echo 2) < 2 ? 1 : 2 ))
echo "== package: fhrp-snmp $version in $stage"
(cd "$stage" && DEB_BUILD_OPTIONS="nocheck parallel=$jobs ${DEB_BUILD_OPTIONS:-}" \
  dpkg-buildpackage -b -us -uc -Pnocheck --no-pre-clean)

rm -f dist/*.deb dist/*.buildinfo dist/*.changes
mv dist/build/*.deb dist/build/*.buildinfo dist/build/*.changes dist/

# Errors fail the build; the warnings that stay are explained in debian/fhrp-snmp.lintian-overrides.
echo "== package: lintian"
lintian --fail-on error --info --display-info dist/fhrp-snmp_"$version"_*.deb
ls -l dist/*.deb
