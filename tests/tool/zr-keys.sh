#!/usr/bin/env bash
# zr-keys.sh ZR: `zr keys` as a whole process, on the us, de and fr layouts, in English and German.
# Every run names its layout with XKB_DEFAULT_LAYOUT, so the machine's keyboard settings are never read.
set -u
zr=$1
failures=0

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

en() { env LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8 LANGUAGE= XKB_DEFAULT_LAYOUT="$1" "${@:2}"; }
de() { env LC_ALL=de_DE.UTF-8 LANG=de_DE.UTF-8 LANGUAGE= XKB_DEFAULT_LAYOUT="$1" "${@:2}"; }

expect "⌃⌥⌘P" 0 en us "$zr" keys char p --modifiers ctrl,opt,cmd
expect "⌃⌥⌘P" 0 en us "$zr" keys char p --modifiers cmd,opt,ctrl
expect "P" 0 en us "$zr" keys char p
expect "⌘↩" 0 en us "$zr" keys char return --modifiers cmd
expect "⇥" 0 en us "$zr" keys char tab
expect "⇧⌘F12" 0 en us "$zr" keys char U+F70F --modifiers shift,cmd
expect "⌥Space" 0 en us "$zr" keys char space --modifiers opt
expect "⌥Leertaste" 0 de us "$zr" keys char space --modifiers opt
expect "Ä" 0 en us "$zr" keys char ä

expect "Z" 0 en us "$zr" keys code 6
expect "Y" 0 en de "$zr" keys code 6
expect "W" 0 en fr "$zr" keys code 6
expect "Z" 0 en de "$zr" keys code 0x10
expect "Ü" 0 de de "$zr" keys code 33
expect "´" 0 de de "$zr" keys code 24
expect "Q" 0 de fr "$zr" keys code 0
expect "É" 0 en fr "$zr" keys code 19

expect "⌘Q" 0 en us "$zr" keys hotkey 12 --modifiers cmd
expect "⌘A" 0 en fr "$zr" keys hotkey 12 --modifiers cmd
expect "⇧⌘Z" 0 de de "$zr" keys hotkey 16 --modifiers shift,cmd
expect "⌃Space" 0 en de "$zr" keys hotkey 49 --modifiers ctrl
expect "⌃Leertaste" 0 de fr "$zr" keys hotkey 49 --modifiers ctrl
expect "⌘↩" 0 de de "$zr" keys hotkey 36 --modifiers command

expect "" 1 en zz-no-such-layout "$zr" keys code 0
expect "" 2 en us "$zr" keys hotkey 12
expect "" 2 en us "$zr" keys char pq
expect "" 2 en us "$zr" keys code -1
expect "" 2 en us "$zr" keys char p --modifiers hyper
expect "" 2 en us "$zr" keys spell p

# The failure names the layout's status on standard error.
message=$(env LC_ALL=en_US.UTF-8 XKB_DEFAULT_LAYOUT=zz-no-such-layout "$zr" keys code 0 2>&1 >/dev/null | tail -n 1)
if [[ "$message" != "zr: ZRCopyPrintableStringRefOfHotKey returns -192, resNotFound, Resource not found" ]]; then
  printf 'FAIL: the failure message was [%s]\n' "$message"
  failures=$((failures + 1))
fi

if ((failures)); then
  echo "$failures failures"
  exit 1
fi
echo "zr keys: all passed"
