#!/usr/bin/env bash
# zr-files.sh ZR: `zr support-folder` as a whole process, in data folders of its own: the first run
# makes the folder, the second finds it, and a data folder that cannot be made is a failure.
set -u
zr=$1
failures=0
scratch=$(mktemp -d "${TMPDIR:-/tmp}/zr-files.XXXXXX") || exit 1
trap 'rm -rf "$scratch"' EXIT

expect() {  # expect EXPECTED-OUTPUT EXPECTED-STATUS COMMAND...
  local expected=$1 status=$2
  shift 2
  local output actual
  output=$("$@" 2>/dev/null)
  actual=$?
  if [[ "$output" != "$expected" || "$actual" != "$status" ]]; then
    printf 'FAIL: %s\n  expected [%s] status %s\n  got      [%s] status %s\n' "$*" "$expected" "$status" "$output" "$actual"
    failures=$((failures + 1))
  fi
}
check() {  # check DESCRIPTION COMMAND...
  if ! "${@:2}"; then
    printf 'FAIL: %s\n' "$1"
    failures=$((failures + 1))
  fi
}

data=$scratch/data
expect "$data/Korvane" 0 env XDG_DATA_HOME="$data" "$zr" support-folder
check "the support folder is a folder" test -d "$data/Korvane"
check "the data folder is the user's alone" test "$(stat -c %a "$data")" = 700
touch "$data/Korvane/kept"
expect "$data/Korvane" 0 env XDG_DATA_HOME="$data" "$zr" support-folder
check "the second run keeps what the folder holds" test -e "$data/Korvane/kept"

# Without XDG_DATA_HOME the data folder is ~/.local/share.
expect "$scratch/home/.local/share/Korvane" 0 env -u XDG_DATA_HOME HOME="$scratch/home" "$zr" support-folder

touch "$scratch/file"
expect "" 1 env XDG_DATA_HOME="$scratch/file/data" "$zr" support-folder
error=$(env XDG_DATA_HOME="$scratch/file/data" "$zr" support-folder 2>&1 >/dev/null)
check "a failure names what went wrong [$error]" grep -q "FSFindFolder returns" <<<"$error"
expect "" 2 env XDG_DATA_HOME="$data" "$zr" support-folder extra

if ((failures > 0)); then
  echo "$failures failed"
  exit 1
fi
echo "all passed"
