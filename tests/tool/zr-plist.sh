#!/usr/bin/env bash
# zr-plist.sh ZR: `zr plist print|convert|lint` on files of each form, their output compared as text.
set -euo pipefail
zr=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$(dirname "${BASH_SOURCE[0]}")/checks.sh"

cat > "$work/sample.plist" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>big</key>
	<integer>18446744073709551615</integer>
	<key>list</key>
	<array>
		<integer>-3</integer>
		<real>2.5</real>
		<true/>
		<date>2020-02-29T12:00:00Z</date>
		<data>
		AAEC
		</data>
		<array/>
	</array>
	<key>name</key>
	<string>Stock é</string>
</dict>
</plist>
XML
printed='{
  "big" => 18446744073709551615
  "list" => [
    0 => -3
    1 => 2.5
    2 => true
    3 => 2020-02-29 12:00:00 +0000
    4 => {length = 3, bytes = 0x000102}
    5 => [
    ]
  ]
  "name" => "Stock é"
}'
expect_same print-xml "$printed" "$("$zr" plist print "$work/sample.plist")"
expect_same lint-xml "$work/sample.plist: OK" "$("$zr" plist lint "$work/sample.plist")"

# To binary and back: the XML (as the platform writes it) comes back byte for byte.
"$zr" plist convert -format binary1 "$work/sample.plist" -o "$work/sample.bplist"
expect_same binary-header "bplist00" "$(head -c 8 "$work/sample.bplist")"
expect_same print-binary "$printed" "$("$zr" plist print "$work/sample.bplist")"
cp "$work/sample.bplist" "$work/inplace.plist"
"$zr" plist convert -format xml1 "$work/inplace.plist"
expect_same round-trip "$(cat "$work/sample.plist")" "$(cat "$work/inplace.plist")"

# The old-style form reads too; it is written as XML or binary only.
printf '{ name = "old style"; list = (a, <0fbd>); }\n' > "$work/old.plist"
expect_same print-openstep '{
  "list" => [
    0 => "a"
    1 => {length = 2, bytes = 0x0fbd}
  ]
  "name" => "old style"
}' "$("$zr" plist print "$work/old.plist")"
expect_same lint-openstep "$work/old.plist: OK" "$("$zr" plist lint "$work/old.plist")"

# Failures: the reason after the file's name, status 1; bad usage, status 2.
printf '{ a = b }' > "$work/bad.plist"
set +e
out=$("$zr" plist lint "$work/sample.plist" "$work/bad.plist"); status=$?
expect_same lint-bad "$work/sample.plist: OK
$work/bad.plist: Missing ';' in dictionary at line 1" "$out"
expect_same lint-status 1 "$status"
out=$("$zr" plist lint "$work/missing.plist"); status=$?
expect_same lint-missing "$work/missing.plist: file does not exist or is not readable or is not a regular file" "$out"
"$zr" plist convert -format json "$work/sample.plist" 2>/dev/null; expect_same usage-status 2 "$?"
"$zr" plist print "$work/bad.plist" 2>/dev/null; expect_same print-status 1 "$?"
set -e

finish_checks "zr plist"
