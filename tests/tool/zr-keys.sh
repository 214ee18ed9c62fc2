#!/usr/bin/env bash
# zr-keys.sh ZR: `zr keys` as a whole process, on the us, de and fr layouts, in English and German.
# Every run names its layout with XKB_DEFAULT_LAYOUT, so the machine's keyboard settings are never read.
set -u
zr=$1
source "$(dirname "${BASH_SOURCE[0]}")/checks.sh"


en() { env LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8 LANGUAGE= XKB_DEFAULT_LAYOUT="$1" "${@:2}"; }
de() { env LC_ALL=de_DE.UTF-8 LANG=de_DE.UTF-8 LANGUAGE= XKB_DEFAULT_LAYOUT="$1" "${@:2}"; }

expect_run "⌃⌥⌘P" 0 en us "$zr" keys char p --modifiers ctrl,opt,cmd
expect_run "⌃⌥⌘P" 0 en us "$zr" keys char p --modifiers cmd,opt,ctrl
expect_run "P" 0 en us "$zr" keys char p
expect_run "⌘↩" 0 en us "$zr" keys char return --modifiers cmd
expect_run "⇥" 0 en us "$zr" keys char tab
expect_run "⇧⌘F12" 0 en us "$zr" keys char U+F70F --modifiers shift,cmd
expect_run "⌥Space" 0 en us "$zr" keys char space --modifiers opt
expect_run "⌥Leertaste" 0 de us "$zr" keys char space --modifiers opt
expect_run "Ä" 0 en us "$zr" keys char ä

expect_run "Z" 0 en us "$zr" keys code 6
expect_run "Y" 0 en de "$zr" keys code 6
expect_run "W" 0 en fr "$zr" keys code 6
expect_run "Z" 0 en de "$zr" keys code 0x10
expect_run "Ü" 0 de de "$zr" keys code 33
expect_run "´" 0 de de "$zr" keys code 24
expect_run "Q" 0 de fr "$zr" keys code 0
expect_run "É" 0 en fr "$zr" keys code 19

expect_run "⌘Q" 0 en us "$zr" keys hotkey 12 --modifiers cmd
expect_run "⌘A" 0 en fr "$zr" keys hotkey 12 --modifiers cmd
expect_run "⇧⌘Z" 0 de de "$zr" keys hotkey 16 --modifiers shift,cmd
expect_run "⌃Space" 0 en de "$zr" keys hotkey 49 --modifiers ctrl
expect_run "⌃Leertaste" 0 de fr "$zr" keys hotkey 49 --modifiers ctrl
expect_run "⌘↩" 0 de de "$zr" keys hotkey 36 --modifiers command

expect_run "" 1 en zz-no-such-layout "$zr" keys code 0
expect_run "" 2 en us "$zr" keys hotkey 12
expect_run "" 2 en us "$zr" keys char pq
expect_run "" 2 en us "$zr" keys code -1
expect_run "" 2 en us "$zr" keys char p --modifiers hyper
expect_run "" 2 en us "$zr" keys spell p

# The failure names the layout's status on standard error.
message=$(env LC_ALL=en_US.UTF-8 XKB_DEFAULT_LAYOUT=zz-no-such-layout "$zr" keys code 0 2>&1 >/dev/null | tail -n 1)
if [[ "$message" != "zr: ZRCopyPrintableStringRefOfHotKey returns -192, resNotFound, Resource not found" ]]; then
  printf 'FAIL: the failure message was [%s]\n' "$message"
  failures=$((failures + 1))
fi

finish_checks "zr keys"
