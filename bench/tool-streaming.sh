#!/usr/bin/env bash
# bench/tool-streaming.sh [ZR] [MiB]: the zr codec commands as whole processes on a file of
# random bytes (128 MiB unless told), beside the tools a user would otherwise run: `base32 -w0`
# and `base32 -d`, `base64 -w0` and `base64 -d`, `xxd -p` and `xxd -r -p`. Each pair runs back
# to back, reading the same file from the page cache and writing to /dev/null. Printed per pair:
# the times on the clock and on the processor (user + system; the steadier figure on a busy
# machine), the ratios (the tool's time divided by ours: above 1 means faster than the tool) and
# the peak resident memory of each process.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

zr=${1:-build/default/tools/zr/zr}
mib=${2:-128}
[[ -x "$zr" ]] || { echo "no zr at $zr (build the target zr first)" >&2; exit 1; }
for tool in base32 base64 xxd /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "missing $tool" >&2; exit 1; }
done

folder=$(mktemp -d /tmp/zr-tool-streaming.XXXXXX)
trap 'rm -rf "$folder"' EXIT

# A whole number of 15-byte groups, so that the Base32 text has no padding (zr decodes only
# unpadded text, base32 -d takes both) and the Base64 text none either.
size=$((mib * 1024 * 1024 / 15 * 15))
head -c "$size" /dev/urandom >"$folder/bytes"
base32 -w0 <"$folder/bytes" >"$folder/base32"
base64 -w0 <"$folder/bytes" >"$folder/base64"
xxd -p <"$folder/bytes" >"$folder/hex"

# Runs the command with the file as standard input; prints "wall cpu peakKiB".
measure() {
  local input=$1
  shift
  /usr/bin/time -f '%e %U %S %M' -o "$folder/time" "$@" <"$input" >/dev/null
  awk '{ printf "%s %.2f %s\n", $1, $2 + $3, $4 }' "$folder/time"
}

echo "$size random bytes; ratios are the tool's time divided by zr's (above 1: zr is faster)"
printf '%-14s %-12s %8s %8s %10s   %-18s %8s %8s %10s   %6s %6s\n' \
  "" "tool" "wall s" "cpu s" "peak KiB" "zr" "wall s" "cpu s" "peak KiB" "wall x" "cpu x"
compare() {
  local label=$1 input=$2 tool=$3 ours=$4
  read -r tool_wall tool_cpu tool_peak < <(measure "$input" $tool)
  read -r our_wall our_cpu our_peak < <(measure "$input" $zr $ours)
  awk -v label="$label" -v tool="$tool" -v ours="$ours" \
    -v tw="$tool_wall" -v tc="$tool_cpu" -v tp="$tool_peak" \
    -v ow="$our_wall" -v oc="$our_cpu" -v op="$our_peak" 'BEGIN {
      printf "%-14s %-12s %8.2f %8.2f %10d   %-18s %8.2f %8.2f %10d   %6.2f %6.2f\n",
        label, tool, tw, tc, tp, "zr " ours, ow, oc, op, (ow > 0 ? tw / ow : 0), (oc > 0 ? tc / oc : 0) }'
}


compare "base32 encode" "$folder/bytes" "base32 -w0" "base32 encode"
compare "base32 decode" "$folder/base32" "base32 -d" "base32 decode"
compare "base64 encode" "$folder/bytes" "base64 -w0" "base64 encode"
compare "base64 decode" "$folder/base64" "base64 -d" "base64 decode"
compare "hex encode" "$folder/bytes" "xxd -p" "hex encode"
compare "hex decode" "$folder/hex" "xxd -r -p" "hex decode"
