# Helpers for the script tests of quiverex-cli; source this file. Sets $tmp (removed on exit)
# and counts failures in $failures.
set -u
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# expect_exit CODE COMMAND...: runs the command with output in $tmp/out and $tmp/err.
expect_exit() {
  local want=$1
  shift
  "$@" >"$tmp/out" 2>"$tmp/err"
  local got=$?
  [ "$got" = "$want" ] || fail "exit $got, wanted $want: $* (stderr: $(cat "$tmp/err"))"
}
