#!/usr/bin/env bash
# Builds the release library and command, then runs a short demonstration on
# the bundled sample data through the `tessaro` command.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

build=${TESSARO_RELEASE_BUILD:-build/release}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARO_TESTS=OFF >/dev/null
cmake --build "$build" --target tessaro tessaro_shared
tessaro="$build/tessaro"

# A call made with another locale shows it.
start_lang=${LANG-}
locale_prefix() { [ "${LANG-}" = "$start_lang" ] || printf 'LANG=%s ' "$LANG"; }

run() {
  printf '\n$ %stessaro call' "$(locale_prefix)"
  printf " '%s'" "$@"
  printf '\n'
  "$tessaro" call "$@" || true
}

echo "== tessaro $("$tessaro" call --plain frameworkVersion), built $("$tessaro" call --plain frameworkDate)"
echo "== $("$tessaro" list | wc -l) commands"
echo "== The text sample that the text calls below read (samples/mixed_text.txt):"
cat samples/mixed_text.txt
while IFS= read -r line; do
  [ -z "$line" ] || [ "${line:0:1}" == "#" ] && continue
  eval "run $line"
done <samples/demo_calls.txt

# A call whose first argument is the JSON of a sample file, shown by its name.
run_on() {
  local file=$1 selector=$2
  shift 2
  printf '\n$ %stessaro call %s "$(cat %s)"' "$(locale_prefix)" "$selector" "$file"
  [ $# -eq 0 ] || printf " '%s'" "$@"
  printf '\n'
  "$tessaro" call "$selector" "$(<"$file")" "$@" || true
}

echo
echo "== Lists: a table of cities (samples/cities.json: city, country, population)"
echo "   and a list of records (samples/people.json)"
# By country in the Swedish order, then by population, largest first.
LANG=sv_SE.UTF-8 run_on samples/cities.json subarraysIn:sortedByIndexes:ascending:sortTypes:error: \
  '[1, 2]' '[true, false]' '["localizedCompare:", "compare:"]'
# Sorting by city: "Aa" and "Ö" come last in Danish and in Swedish, not in German.
LANG=da_DK.UTF-8 run_on samples/cities.json subarraysIn:sortedByIndexes:ascending:sortTypes:error: '[0]' '[]' '["localizedCompare:"]'
LANG=de_DE.UTF-8 run_on samples/cities.json subarraysIn:sortedByIndexes:ascending:sortTypes:error: '[0]' '[]' '["localizedCompare:"]'
run_on samples/cities.json colsToRowsIn:error:
run_on samples/cities.json subarraysIn:asDictionariesUsingLabels:error: '["city", "country", "population"]'
run_on samples/people.json sortedArrayFrom:byKeys: '["age", "name"]'
# Groups by team; the records without one come last, twice.
run_on samples/people.json splitArray:byKey:sortKeys: '"team"' '["name"]'
run_on samples/people.json subarraysFrom:usingKeys:outKeys:error: '[]'
# File names as a file browser lists them: numbers by value, case aside.
LANG=en_US.UTF-8 run subarraysIn:sortedByIndexes:ascending:sortTypes:error: '[["IMG_10.jpg"], ["img_9.jpg"], ["IMG_100.jpg"]]' \
  '[0]' '[]' '["localizedStandardCompare:"]'
run subarraysIn:paddedWith:error: '[["a", "b", "c"], ["d"], []]' '"-"'
run arrayWithPattern:startNumber:endNumber:minDigits: '"IMG_%@.jpg"' 12 9 4
run arrayByTrimmingBlanksFrom: '["", null, "a", "", "b", [[]]]'
run sumMaxMinOf:error: '[4, 2.5, -1]'
run colsToRowsIn:error: '[[1, 2], [3]]'

echo
echo "== Keychain: the status a machine without a reachable Secret Service gives"
echo "   (the lookup is pointed at a bus that does not exist, so no secret can show)"
printf '\n$ DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent tessaro call'
printf " '%s'" passForGenericItem:account:error: '"Mail"' '"bob"'
printf '\n'
DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent "$tessaro" call passForGenericItem:account:error: '"Mail"' '"bob"' || true
run passForInternetItem:account:server:path:port:error: '"Web"' '{"$nothing": true}' '"example.com"' '{"$nothing": true}' 443

echo
echo "== The typical run: a CSV file (samples/sales.csv: region, item, units, month)"
echo "   read, its short rows padded, sorted on units (by value, largest first) then region,"
echo "   made records; then"
echo "   the sample images listed and each image's properties read. Each step's"
echo "   result, printed with --plain, is the next step's argument."
step() {  # the command shown, its result captured
  printf '\n$ tessaro call --plain %s …\n' "$1" >&2
  "$tessaro" call --plain "$@"
}
table=$(step arrayFromCSV:commaIs: @samples/sales.csv '","')
echo "$table"
padded=$(step subarraysIn:paddedWith:error: "$table" '""')
echo "$padded"
sorted=$(step subarraysIn:sortedByIndexes:ascending:sortTypes:error: "$padded" '[2, 0]' '[false, true]' \
  '["localizedStandardCompare:", "localizedCompare:"]')
echo "$sorted"
step subarraysIn:asDictionariesUsingLabels:error: "$sorted" '["region", "item", "units", "month"]'
images=$(step filesIn:recursive:asPaths: "\"$PWD/samples/images\"" true true)
echo "$images"
python3 -c 'import json, sys; print("\n".join(json.loads(sys.argv[1])))' "$images" | while IFS= read -r image; do
  run metadataFromImage:error: "$(python3 -c 'import json, sys; print(json.dumps(sys.argv[1]))' "$image")"
done

echo
echo "== More calls, through one 'tessaro serve' process:"
"$tessaro" serve <samples/demo_requests.jsonl
