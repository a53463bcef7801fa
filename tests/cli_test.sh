#!/usr/bin/env bash
# End-to-end checks of the `tessaro` command line and server.
set -u
tessaro=$1
memory_checks=${2:-1}  # 0 under the sanitizers, whose allocator keeps memory
passed=0
failed=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

check() {  # name, expected, actual
  if [ "$2" == "$3" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'FAIL %s\n  expected: %s\n  actual:   %s\n' "$1" "$2" "$3"
  fi
}

# call: envelope and exit status.
out=$("$tessaro" call frameworkVersion); status=$?
check "call result" '{"result": "0.1.0"}' "$out"
check "call status" 0 "$status"
out=$("$tessaro" call fordEvent); check "no result prints {}" '{}' "$out"
"$tessaro" call noSuch: 1 >/dev/null 2>"$tmp/err"; status=$?
check "unknown selector is a usage problem" 64 "$status"
grep -q "unknown selector" "$tmp/err"; check "usage explained on stderr" 0 $?
"$tessaro" call fordEvent 1 >/dev/null 2>&1; check "wrong argument count" 64 $?
"$tessaro" call URLFrom: '[1,' >/dev/null 2>&1; check "malformed JSON argument" 64 $?
"$tessaro" bogus >/dev/null 2>&1; check "unknown verb" 64 $?

# Options anywhere before or after the selector; @PATH arguments.
out=$("$tessaro" call URLFrom: 5 --no-error-out); check "option after the selector" '{}' "$out"
out=$("$tessaro" --plain call frameworkVersion); check "option before call" '0.1.0' "$out"
"$tessaro" call --bogus frameworkVersion >/dev/null 2>&1; check "unknown option" 64 $?
printf '\xEF\xBB\xBF/tmp' >"$tmp/path.txt"
out=$("$tessaro" call URLFrom: "@$tmp/path.txt"); check "@PATH drops the byte-order mark" '{"result": {"$url": "file:///tmp/"}}' "$out"
out=$(printf '/tmp' | "$tessaro" call URLFrom: @-); check "@- reads standard input" '{"result": {"$url": "file:///tmp/"}}' "$out"
printf '/tmp\xFF' >"$tmp/bad.txt"
"$tessaro" call URLFrom: "@$tmp/bad.txt" >/dev/null 2>&1; check "@PATH that is not UTF-8" 64 $?
"$tessaro" call URLFrom: "@$tmp/missing.txt" >/dev/null 2>&1; check "@PATH that cannot be read" 64 $?
# Anything that cannot be read as a file is a usage problem, said on stderr.
mkdir "$tmp/folder"
"$tessaro" call URLFrom: "@$tmp/folder" >/dev/null 2>"$tmp/err"; check "@PATH naming a folder" 64 $?
grep -q "cannot read" "$tmp/err"; check "folder reason on stderr" 0 $?
"$tessaro" call URLFrom: @- <&- >/dev/null 2>&1; check "@- with standard input closed" 64 $?
"$tessaro" call URLFrom: @- <"$tmp/folder" >/dev/null 2>&1; check "@- reading a folder" 64 $?

# An answer that cannot be written is an output error (74), said on stderr.
for verb in "call frameworkVersion" "list"; do
  "$tessaro" $verb >/dev/full 2>"$tmp/err"; check "$verb to a full device" 74 $?
  grep -q "cannot write" "$tmp/err"; check "$verb: reason on stderr" 0 $?
done
echo '{"call": "frameworkVersion"}' | "$tessaro" serve >/dev/full 2>/dev/null; check "serve to a full device" 74 $?

out=$("$tessaro" call KRV_fordItemIn: 2.0); check "a real stays a real" '{"result": {"$descriptor": {"type": "doub", "hex": "0000000000000040"}}}' "$out"
"$tessaro" call KRV_fordItemIn:options: '{"$data": "AQ=="}' 0 >/dev/null; check "host failure exits 2" 2 $?

# The process takes its locale, calendar and time zone from its environment.
out=$(env -u LC_ALL LANG=th_TH@calendar=buddhist TZ=UTC "$tessaro" call dateValuesFrom: '{"$date": 482797958.5}')
check "calendar from LANG" '{"result": [0, 2559, 4, 19]}' "$out"
out=$(env -u LC_ALL LANG=en_US.UTF-8 TZ=Asia/Tokyo "$tessaro" call timeValuesFrom: '{"$date": 0.0}')
check "time zone from TZ" '{"result": [9, 0, 0, 0]}' "$out"
out=$(echo '{"call": "dateValuesFrom:", "args": [{"$date": 482797958.5}]}' |
      env LC_ALL=ja_JP@calendar=japanese LANG=en_US.UTF-8 TZ=UTC "$tessaro" serve)
check "serve too, LC_ALL first" '{"result": [235, 28, 4, 19]}' "$out"

# list: public selectors first.
"$tessaro" list >"$tmp/list"; check "list status" 0 $?
first_private=$(grep -n '^KRV_' "$tmp/list" | head -1 | cut -d: -f1)
last_public=$(grep -vn '^KRV_' "$tmp/list" | tail -1 | cut -d: -f1)
[ -z "$first_private" ] || [ "$last_public" -lt "$first_private" ]; check "public before private" 0 $?

# serve: many requests in one go, a malformed line in the middle.
python3 - "$tmp/requests" <<'PY'
import json, sys
with open(sys.argv[1], "w") as f:
    for i in range(10000):
        if i == 5000:
            f.write('{"id": "bad", "call": \n')
        f.write(json.dumps({"id": i, "call": "frameworkVersion", "args": []}) + "\n")
    f.write('{"id": [1, {"a": null}], "call": "fordEvent", "args": []}\n')
    f.write('{"call": "noSuch:", "args": [1]}\n')
    f.write('not json at all\n')
PY
"$tessaro" serve <"$tmp/requests" >"$tmp/answers"; check "serve exits 0 at end of input" 0 $?
check "one answer per line" 10004 "$(wc -l <"$tmp/answers")"
check "answers keep order" '{"id": 9999, "result": "0.1.0"}' "$(sed -n 10001p "$tmp/answers")"
check "malformed line gets a usage answer" usage "$(sed -n 5001p "$tmp/answers" | python3 -c 'import json,sys; print(*[k for k in json.load(sys.stdin) if k=="usage"])')"
check "next line still served" '{"id": 5000, "result": "0.1.0"}' "$(sed -n 5002p "$tmp/answers")"
check "id echoed unchanged" '{"id": [1, {"a": null}]}' "$(sed -n 10002p "$tmp/answers")"
check "unknown selector answer" '{"usage": "unknown selector noSuch:"}' "$(sed -n 10003p "$tmp/answers")"

# Reals print as the shortest digits that read back (the rule of Python's repr).
python3 - "$tessaro" <<'PY'
import json, math, random, struct, subprocess, sys
random.seed(3)
values = []
while len(values) < 20000:
    k = random.random()
    if k < 0.3:
        d = struct.unpack("<d", struct.pack("<Q", random.getrandbits(64)))[0]
    elif k < 0.7:
        d = round(random.uniform(-1e4, 1e4), random.randint(0, 9))
    else:
        d = random.randint(-10**16, 10**16) / 10**random.randint(0, 20)
    if not (math.isnan(d) or math.isinf(d)):
        values.append(d)
texts = [repr(d) for d in values]
# Reals written with more digits than a double holds read as the nearest double.
for _ in range(5000):
    digits = "".join(random.choice("0123456789") for _ in range(random.randint(18, 40)))
    point = random.randint(1, len(digits) - 1)
    texts.append(random.choice(["", "-"]) + digits[:point].lstrip("0").rjust(1, "0") + "." + digits[point:] +
                 random.choice(["", "e%d" % random.randint(-30, 30)]))
request = '{"call": "CocoaifyFrom:", "args": [[%s]]}\n' % ", ".join(texts)
answer = subprocess.run([sys.argv[1], "serve"], input=request.encode(), stdout=subprocess.PIPE).stdout.decode()
expected = '{"result": [%s]}\n' % ", ".join(repr(float(t)) for t in texts)
sys.exit(0 if answer == expected else "reals print differently from their shortest form")
PY
check "reals print in their shortest form" 0 $?

# serve: each answer is out before the next request is sent.
python3 - "$tessaro" <<'PY'
import subprocess, sys, select
server = subprocess.Popen([sys.argv[1], "serve"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
for i in range(50):
    server.stdin.write(b'{"id": %d, "call": "frameworkVersion"}\n' % i)
    server.stdin.flush()
    ready, _, _ = select.select([server.stdout], [], [], 10)
    if not ready or server.stdout.readline() != b'{"id": %d, "result": "0.1.0"}\n' % i:
        sys.exit("no answer to request %d before the next one" % i)
server.stdin.close()
sys.exit(server.wait())
PY
check "an interactive client gets each answer at once" 0 $?

# Memory: a large request is given back once it is answered.
[ "$memory_checks" = 1 ] && python3 - "$tessaro" <<'PY'
import subprocess, sys
def rss(pid):
    for line in open("/proc/%d/status" % pid):
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) * 1024
server = subprocess.Popen([sys.argv[1], "serve"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
def ask(request):
    server.stdin.write(request + b"\n")
    server.stdin.flush()
    return server.stdout.readline()
ask(b'{"call": "frameworkVersion"}')
idle = rss(server.pid)
row = b'["alpha", "Z\xc3\xbcrich", "a longer cell of text", 42, 2.5]'
big = b'{"call": "ASifyFrom:", "args": [[' + b", ".join([row] * 200000) + b']]}'
answer = ask(big)
after = rss(server.pid)
server.stdin.close()
server.wait()
if len(answer) < 10000000:
    sys.exit("the large answer is missing")
if after - idle > 20 * 2**20:
    sys.exit("resident size after a %d MB request: %d MB above idle" % (len(big) >> 20, (after - idle) >> 20))
PY
[ "$memory_checks" = 1 ] && check "resident size returns after a large request" 0 $?

# Memory: a large @file argument is held about once as bytes and once as text.
[ "$memory_checks" = 1 ] && python3 - "$tessaro" "$tmp/large.txt" <<'PY'
import resource, subprocess, sys
tessaro, path = sys.argv[1], sys.argv[2]
with open(path, "w") as f:
    f.write(("line of text with caf\u00e9 and \u6771\u4eac\n" * 1000000))
size = len(open(path, "rb").read())
for plain in ([], ["--plain"]):
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    out = subprocess.run([tessaro, "call"] + plain + ["ASifyFrom:", "@" + path], stdout=subprocess.PIPE).stdout
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024
    if len(out) < size:
        sys.exit("the answer is missing")
    if peak > 4 * size + 16 * 2**20:
        sys.exit("a %d MB @file peaked at %d MB" % (size >> 20, peak >> 20))
PY
[ "$memory_checks" = 1 ] && check "a large @file argument takes at most four times its size" 0 $?

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
