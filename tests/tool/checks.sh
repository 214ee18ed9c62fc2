# checks.sh: what the zr tool's whole-process test scripts share; each sources it. Failures are
# counted, not fatal, so that one run reports every case that differs.
failures=0

# expect_run EXPECTED-OUTPUT EXPECTED-STATUS COMMAND...: runs COMMAND and compares its standard
# output and exit status.
expect_run() {
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

# expect_same NAME EXPECTED ACTUAL: compares two texts.
expect_same() {
  if [[ "$2" != "$3" ]]; then
    printf 'FAIL %s\n--- expected\n%s\n--- actual\n%s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
  fi
}

# finish_checks WHAT: ends the script, with status 1 when any check failed.
finish_checks() {
  if ((failures > 0)); then
    echo "$1: $failures failed"
    exit 1
  fi
  echo "$1: all checks passed"
}
