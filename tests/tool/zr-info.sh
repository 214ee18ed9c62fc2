#!/usr/bin/env bash
# zr-info.sh ZR: `zr info KEY [BUNDLE]` on zr's own bundle and on bundles laid out for the test.
set -euo pipefail
zr=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "${BASH_SOURCE[0]}")/checks.sh"

expect_same own-identifier "org.zrframework.zr" "$("$zr" info CFBundleIdentifier)"
expect_same own-name "zr" "$("$zr" info CFBundleName)"

mkdir -p "$work/Quotes.app/Contents"
printf '{ CFBundleIdentifier = "com.example.quotes"; CFBundleVersion = 3; Count = <01>; }' \
  > "$work/Quotes.app/Contents/Info.plist"
expect_same other-identifier "com.example.quotes" "$("$zr" info CFBundleIdentifier "$work/Quotes.app")"
expect_same other-version "3" "$("$zr" info CFBundleVersion "$work/Quotes.app")"

status=0
out=$("$zr" info Count "$work/Quotes.app" 2>&1) || status=$?
expect_same not-a-string "1 zr: no string under Count in $work/Quotes.app/Contents/Info.plist" "$status $out"
status=0
out=$("$zr" info Missing 2>&1) || status=$?
expect_same missing-key "1 zr: no string under Missing in zr's information property list" "$status $out"
status=0
out=$("$zr" info CFBundleName "$work/None.app" 2>&1) || status=$?
expect_same no-bundle "1 zr: cannot read a property list from $work/None.app/Contents/Info.plist" "$status $out"
mkdir -p "$work/List.app/Contents" && printf '(a, b)' > "$work/List.app/Contents/Info.plist"
status=0
out=$("$zr" info CFBundleName "$work/List.app" 2>&1) || status=$?
expect_same array-root "1 zr: no string under CFBundleName in $work/List.app/Contents/Info.plist" "$status $out"
status=0
out=$("$zr" info 2>&1) || status=$?
expect_same usage "2 zr: usage: zr info KEY [BUNDLE]" "$status $out"

finish_checks "zr info"
