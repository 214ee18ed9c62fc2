# shellcheck shell=bash
# setup.sh: sourced by scripts/demo, scripts/test, scripts/bench and scripts/fuzz. Makes sure the
# Debian packages and locales the build and the tests need are there, installing what is missing
# when run as root, and otherwise printing the exact command to run and exiting.

# The Debian packages the project needs, one group per purpose. Add new dependencies here.
ZR_PACKAGES=(
  cmake ninja-build g++ make pkg-config ccache      # the build (ccache: fast rebuilds)
  libicu-dev libssl-dev libfontconfig-dev libpugixml-dev  # the host layer's libraries
  libsystemd-dev                                     # sd-bus: system events to systemd-logind
  dbus-daemon python3-dbusmock                       # tests: a private bus with a mock logind
  fontconfig fonts-dejavu-core                       # a font, so that fontconfig has an answer
  libgtest-dev libgmock-dev                          # tests
  libbenchmark-dev libglib2.0-dev                    # benchmarks, and GLib as their baseline
  libxkbcommon-dev xkb-data                          # keyboard layouts
  xxd time                                           # the benchmarks' tools beside zr, and their peaks
  locales                                            # the locales the tests run in
  clang libclang-rt-14-dev                           # fuzzing (libFuzzer)
  python3                                            # plistlib: the independent property-list cross-check
  libplist-dev                                       # benchmarks: libplist as the property-list baseline
  openssl coreutils                                  # the other command-line tools the benchmarks compare with
  clang-format binutils                              # scripts/format; nm, which checks the installed libraries
)

# The locales the tests switch to (names as `locale -a` spells them, and as /etc/locale.gen does).
ZR_LOCALES=("en_US.UTF-8" "de_DE.UTF-8")

zr_missing_packages() {
  local package status
  for package in "${ZR_PACKAGES[@]}"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ "$status" == "installed" ]] || printf '%s\n' "$package"
  done
}

# `locale -a` prints en_US.utf8 for en_US.UTF-8: compare without case and dashes.
zr_locale_key() { printf '%s' "$1" | tr '[:upper:]' '[:lower:]' | tr -d -- '-'; }

zr_missing_locales() {
  local available wanted
  available=$(locale -a 2>/dev/null | while read -r name; do zr_locale_key "$name"; echo; done)
  for wanted in "${ZR_LOCALES[@]}"; do
    grep -qxF "$(zr_locale_key "$wanted")" <<<"$available" || printf '%s\n' "$wanted"
  done
}

# The sed expression that enables one locale's line in /etc/locale.gen.
zr_locale_sed() { printf 's/^# *(%s UTF-8)/\\1/' "${1//./\\.}"; }

zr_ensure_packages() {
  if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "note: not a Debian system; make sure these are installed: ${ZR_PACKAGES[*]}" >&2
    return 0
  fi
  local missing locales name
  mapfile -t missing < <(zr_missing_packages)
  mapfile -t locales < <(zr_missing_locales)

  if ((EUID != 0)) && ((${#missing[@]} + ${#locales[@]})); then
    if ((${#missing[@]})); then
      echo "Missing Debian packages: ${missing[*]}. Install them with:" >&2
      echo "  sudo apt-get update && sudo apt-get install -y --no-install-recommends ${missing[*]}" >&2
    fi
    if ((${#locales[@]})); then
      echo "Missing locales: ${locales[*]}. Generate them with:" >&2
      local command="sudo sed -i -E"
      for name in "${locales[@]}"; do command+=" -e '$(zr_locale_sed "$name")'"; done
      echo "  ${command} /etc/locale.gen && sudo locale-gen" >&2
    fi
    exit 1
  fi

  if ((${#missing[@]})); then
    echo "==> Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q
    apt-get install -y -q --no-install-recommends "${missing[@]}"
    mapfile -t locales < <(zr_missing_locales)
  fi

  if ((${#locales[@]})); then
    echo "==> Generating locales ${locales[*]}"
    for name in "${locales[@]}"; do
      if grep -qE "^# *${name//./\\.} UTF-8" /etc/locale.gen; then
        sed -i -E "$(zr_locale_sed "$name")" /etc/locale.gen
      elif ! grep -qE "^${name//./\\.} UTF-8" /etc/locale.gen; then
        echo "${name} UTF-8" >>/etc/locale.gen
      fi
    done
    locale-gen
  fi
}

# Compiles through ccache when it is there: a new build directory, or a fresh clone elsewhere on
# the same machine (paths are hashed relative to the checkout), reuses every object file compiled
# before. CMake reads the launcher variables when it first configures a build directory.
zr_use_ccache() {
  if command -v ccache >/dev/null 2>&1; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
  fi
}

# Runs a command after echoing it, so that the log shows what ran.
zr_run() {
  echo "+ $*" >&2
  "$@"
}
