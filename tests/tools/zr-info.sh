#!/usr/bin/env bash
# zr-info.sh ZR: `zr info KEY [BUNDLE]` on zr's own bundle and on bundles laid out for the test.
set -euo pipefail
zr=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
expect() {  # expect NAME EXPECTED ACTUAL
  if [[ "$2" != "$3" ]]; then
    printf 'FAIL %s\n--- expected\n%s\n--- actual\n%s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
  fi
}

expect own-identifier "org.zrframework.zr" "$("$zr" info CFBundleIdentifier)"
expect own-name "zr" "$("$zr" info CFBundleName)"

mkdir -p "$work/Quotes.app/Contents"
printf '{ CFBundleIdentifier = "com.example.quotes"; CFBundleVersion = 3; Count = <01>; }' \
  > "$work/Quotes.app/Contents/Info.plist"
expect other-identifier "com.example.quotes" "$("$zr" info CFBundleIdentifier "$work/Quotes.app")"
expect other-version "3" "$("$zr" info CFBundleVersion "$work/Quotes.app")"

status=0
out=$("$zr" info Count "$work/Quotes.app" 2>&1) || status=$?
expect not-a-string "1 zr: no string under Count in $work/Quotes.app/Contents/Info.plist" "$status $out"
status=0
out=$("$zr" info Missing 2>&1) || status=$?
expect missing-key "1 zr: no string under Missing in zr's information property list" "$status $out"
status=0
out=$("$zr" info CFBundleName "$work/None.app" 2>&1) || status=$?
expect no-bundle "1 zr: cannot read a property list from $work/None.app/Contents/Info.plist" "$status $out"
mkdir -p "$work/List.app/Contents" && printf '(a, b)' > "$work/List.app/Contents/Info.plist"
status=0
out=$("$zr" info CFBundleName "$work/List.app" 2>&1) || status=$?
expect array-root "1 zr: no string under CFBundleName in $work/List.app/Contents/Info.plist" "$status $out"
status=0
out=$("$zr" info 2>&1) || status=$?
expect usage "2 zr: usage: zr info KEY [BUNDLE]" "$status $out"

if ((failures > 0)); then exit 1; fi
echo "zr info: all checks passed"
