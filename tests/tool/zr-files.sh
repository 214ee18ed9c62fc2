#!/usr/bin/env bash
# zr-files.sh ZR: `zr support-folder` as a whole process, in data folders of its own: the first run
# makes the folder, the second finds it, and a data folder that cannot be made is a failure.
# `zr language` in preference folders of its own: the "AppleLanguages" preference, written with
# `zr defaults write` or as a property-list file, and else the locale environment.
set -u
zr=$1
source "$(dirname "${BASH_SOURCE[0]}")/checks.sh"
scratch=$(mktemp -d "${TMPDIR:-/tmp}/zr-files.XXXXXX") || exit 1
trap 'rm -rf "$scratch"' EXIT

check() {  # check DESCRIPTION COMMAND...
  if ! "${@:2}"; then
    printf 'FAIL: %s\n' "$1"
    failures=$((failures + 1))
  fi
}

data=$scratch/data
expect_run "$data/Korvane" 0 env XDG_DATA_HOME="$data" "$zr" support-folder
check "the support folder is a folder" test -d "$data/Korvane"
check "the data folder is the user's alone" test "$(stat -c %a "$data")" = 700
touch "$data/Korvane/kept"
expect_run "$data/Korvane" 0 env XDG_DATA_HOME="$data" "$zr" support-folder
check "the second run keeps what the folder holds" test -e "$data/Korvane/kept"

# Without XDG_DATA_HOME the data folder is ~/.local/share.
expect_run "$scratch/home/.local/share/Korvane" 0 env -u XDG_DATA_HOME HOME="$scratch/home" "$zr" support-folder

touch "$scratch/file"
expect_run "" 1 env XDG_DATA_HOME="$scratch/file/data" "$zr" support-folder
error=$(env XDG_DATA_HOME="$scratch/file/data" "$zr" support-folder 2>&1 >/dev/null)
check "a failure names what went wrong [$error]" grep -q "FSFindFolder returns" <<<"$error"
expect_run "" 2 env XDG_DATA_HOME="$data" "$zr" support-folder extra

# The language: without the preference, the locale environment decides (LANGUAGE first, then
# LC_ALL, LC_MESSAGES and LANG); a language other than the two gives English.
config=$scratch/config
mkdir -p "$config"
language() {  # language EXPECTED-OUTPUT EXPECTED-STATUS [VARIABLE=VALUE...] [-- ARGUMENT...]
  local expected=$1 status=$2 variables=()
  shift 2
  while (($# > 0)) && [[ "$1" != -- ]]; do
    variables+=("$1")
    shift
  done
  (($# > 0)) && shift
  expect_run "$expected" "$status" env -u LANGUAGE -u LC_ALL -u LC_MESSAGES -u LANG XDG_CONFIG_HOME="$config" \
    HOME="$scratch/home" "${variables[@]}" "$zr" language "$@"
}
tab=$'\t'
language "en${tab}English" 0
language "en${tab}English" 0 LANG=C
language "de${tab}German" 0 LANG=de_DE.UTF-8
language "de${tab}German" 0 LC_MESSAGES=de_AT.UTF-8 LANG=en_US.UTF-8
language "en${tab}English" 0 LC_ALL=en_GB.UTF-8 LANG=de_DE.UTF-8
language "de${tab}German" 0 LANGUAGE=fr:de:en LANG=en_US.UTF-8
language "en${tab}English" 0 LANGUAGE=fr:it LANG=de_DE.UTF-8
language "en${tab}English" 0 LANGUAGE=pt_BR

# The preference wins over the environment, in the global domain or the application's own.
defaults() { env XDG_CONFIG_HOME="$config" HOME="$scratch/home" "$zr" defaults "$@" >/dev/null; }
check "writing the global languages" defaults write -g AppleLanguages -array fr de en
language "de${tab}German" 0 LANG=en_US.UTF-8
check "writing the global languages" defaults write -g AppleLanguages -array fr it
language "en${tab}English" 0 LANG=de_DE.UTF-8
check "writing the global languages" defaults write -g AppleLanguages -array en-US
language "en${tab}English" 0 LANGUAGE=de
# The application's own domain, as a file the script writes.
printf '%s\n' '<?xml version="1.0" encoding="UTF-8"?>' \
  '<plist version="1.0"><dict><key>AppleLanguages</key><array><string>de</string><string>en</string></array></dict></plist>' \
  >"$config/org.zrframework.zr.plist"
language "de${tab}German" 0 LANG=en_US.UTF-8
check "deleting the application's languages" defaults delete org.zrframework.zr AppleLanguages
check "deleting the global languages" defaults delete -g AppleLanguages
language "en${tab}English" 0 LANG=en_US.UTF-8
language "de${tab}German" 0 LANG=de_CH.UTF-8

# A preference that is not a list of languages cannot be read: status 1 and the library's line.
check "writing a language that is not a list" defaults write -g AppleLanguages de
language "" 1 LANG=de_DE.UTF-8
error=$(env XDG_CONFIG_HOME="$config" HOME="$scratch/home" "$zr" language 2>&1 >/dev/null)
check "a failure names what went wrong [$error]" \
  grep -q "ERROR ZRCopyArrayRefOfPreferencesKey returns NULL (ZRCopyShortLanguageStringRef," <<<"$error"
language "" 2 LANG=de_DE.UTF-8 -- extra
check "the usage names the command" grep -q "usage: zr language" <<<"$("$zr" language extra 2>&1)"

finish_checks "zr support-folder and language"
