#!/usr/bin/env bash
# quiverex-cli search as a script would use it: what it lists for queries, and its exit codes.
# Usage: search_command.sh QUIVEREX-CLI LIBRARY-TEST-DATA-DIR
cli=$1
data=$2
. "$(dirname "$0")/cli_test_lib.sh"

# Pets holds cat and dg; Birds (disabled) holds brd.
printf '%s' '<Quiverex n="Everything" t="0" d="0" w="0" m="1"><f n="Pets" t="0" d="0" w="0">' \
  '<a a="cat" d="Cat food" e="meow" c="2" t="3" r="0"/><a a="dg" d="Dog" e="woof at the BIRD" c="2" t="3" r="0"/>' \
  '</f><f n="Birds" t="0" d="1" w="0"><a a="brd" d="Bird" e="tweet" c="2" t="3" r="0"/></f></Quiverex>' \
  >"$tmp/pets.tmk"

# expect_found QUERY LINES...: the search lists exactly these lines.
expect_found() {
  local query=$1
  shift
  expect_exit 0 "$cli" search "$tmp/pets.tmk" "$query"
  if [ $# = 0 ]; then : >"$tmp/want"; else printf '%s\n' "$@" >"$tmp/want"; fi
  cmp -s "$tmp/out" "$tmp/want" || fail "search '$query': $(cat -A "$tmp/out")"
}

expect_found 'dog OR woof OR cat' $'dg\tDog' $'cat\tCat food'
expect_found 'bird' $'dg\tDog' $'brd\tBird'
expect_found 'bird AND woof NOT tweet' $'dg\tDog'
expect_found ' NOT bird' $'cat\tCat food'
expect_found 'cat or dog'

expect_exit 0 "$cli" search "$data/every_kind.tmk" 'LINE'
grep -qxF $'sig|s||g\tSig\\tline' "$tmp/out" || fail "search escapes: $(cat -A "$tmp/out")"

expect_exit 2 "$cli" search "$tmp/pets.tmk"
expect_exit 2 "$cli" search "$tmp/missing.tmk" cat
expect_exit 0 "$cli" --help
grep -q "^  search " "$tmp/out" || fail "--help does not list search"

[ "$failures" = 0 ] && echo "all search command checks passed"
exit $((failures > 0))
