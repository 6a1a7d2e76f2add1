#!/usr/bin/env bash
# The library commands of quiverex-cli as a script would use them: exit codes, standard output
# and the file that normalize writes.
# Usage: library_commands.sh QUIVEREX-CLI LIBRARY-TEST-DATA-DIR
cli=$1
data=$2
. "$(dirname "$0")/cli_test_lib.sh"

expect_exit 0 "$cli" check "$data/every_kind.tmk"
grep -q "7 folders, 5 abbreviations" "$tmp/out" || fail "check summary: $(cat "$tmp/out")"

printf '<Quiverex><f n="x"><a a="b"></f></Quiverex>' >"$tmp/broken.tmk"
expect_exit 1 "$cli" check "$tmp/broken.tmk"
grep -q "mismatched tag at 1" "$tmp/err" || fail "check message: $(cat "$tmp/err")"
[ "$(wc -l <"$tmp/err")" -ge 1 ] || fail "no message for a broken file"

expect_exit 2 "$cli" check "$tmp/missing.tmk"
[ "$(wc -l <"$tmp/err")" = 1 ] || fail "missing file should give one line: $(cat "$tmp/err")"
expect_exit 2 "$cli" no-such-command
[ "$(wc -l <"$tmp/err")" = 1 ] || fail "unknown command should give one line: $(cat "$tmp/err")"
expect_exit 2 "$cli" check
expect_exit 0 "$cli" --version
grep -q "^quiverex-cli " "$tmp/out" || fail "version: $(cat "$tmp/out")"
expect_exit 0 "$cli" --help
for cmd in check list normalize export-html; do
  grep -q "^  $cmd " "$tmp/out" || fail "--help does not list $cmd"
done

expect_exit 0 "$cli" list "$data/old_root.tmk"
printf 'Mail\tty\ttext\tadapt-case\timmediately\tthanks\nMail\tnp\tprogram\tcase-insensitive\ttrigger-key\t\nMail\tweb\twebsite\tcase-insensitive\tword-end\t\n' >"$tmp/want"
cmp -s "$tmp/out" "$tmp/want" || fail "list output: $(cat -A "$tmp/out")"
expect_exit 0 "$cli" list "$data/every_kind.tmk"
grep -qF $'Work & <Home>\tsig|s||g\ttext\tcase-sensitive\tword-end\tSig\\tline' "$tmp/out" || fail "list escapes: $(cat -A "$tmp/out")"
grep -qF $'Team\\Inner\tgh\twebsite' "$tmp/out" || fail "list folder path: $(cat -A "$tmp/out")"

expect_exit 0 "$cli" normalize "$data/every_kind.tmk" "$tmp/out.tmk"
sed 's/&#33;/!/' "$data/every_kind.tmk" | cmp -s - "$tmp/out.tmk" || fail "normalize changed the library"
expect_exit 1 "$cli" normalize "$tmp/broken.tmk" "$tmp/never.tmk"
[ ! -e "$tmp/never.tmk" ] || fail "normalize wrote a file from a broken library"

expect_exit 0 "$cli" export-html "$data/every_kind.tmk" 'Team\Inner'
grep -qF '<b>gh</b></td><td style="word-wrap: break-word">https://github.com/?q=a&amp;b</td>' "$tmp/out" ||
  fail "export-html row: $(cat "$tmp/out")"
grep -q 'calc' "$tmp/out" && fail "export-html went outside the folder"
expect_exit 0 "$cli" export-html "$data/every_kind.tmk"
[ "$(grep -o '<tr>' "$tmp/out" | wc -l)" = 6 ] || fail "export-html of everything: $(cat "$tmp/out")"
expect_exit 2 "$cli" export-html "$data/every_kind.tmk" 'No\Such'

[ "$failures" = 0 ] && echo "all library command checks passed"
exit $((failures > 0))
