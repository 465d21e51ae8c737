#!/usr/bin/env bash
# `vaultix-tool list` against `keepassxc-cli ls -R` on the same records:
#
#   bench/bench_peer.sh [BUILD_DIR] [COUNT]     (defaults: build 10000)
#
# Makes COUNT made-up records (half of them protected), exports them as CSV,
# turns the CSV into a KeePass XML export (one group per category; field 1
# the title, 2 the user name, 3 the password, 4 the URL, the note the
# notes) and imports that into a new database with keepassxc-cli, with the
# key derivation it chooses by default. Then both list everything, RUNS
# times (default 11) alternating, the peer reading its password from
# standard input as Vaultix does; medians and the median ratio are printed.
set -euo pipefail
BUILD=$(cd "${1:-build}" && pwd)
COUNT=${2:-10000}
RUNS=${RUNS:-11}
PASSWORD="bench password"
if ! command -v keepassxc-cli >/dev/null; then
  echo "keepassxc-cli is not installed (Debian: apt-get install keepassxc)"
  exit 0
fi

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
echo "$PASSWORD" > "$WORK/pw"
"$BUILD/vx_demodata" "$WORK/v.dat" "$COUNT" --password-stdin < "$WORK/pw"
"$BUILD/vaultix-tool" --file "$WORK/v.dat" export "$WORK/v.csv" --password-stdin < "$WORK/pw" >/dev/null
python3 - "$WORK/v.csv" "$WORK/v.xml" <<'PY'
import base64, csv, sys, uuid
from xml.sax.saxutils import escape
groups = {}
with open(sys.argv[1], newline='', encoding='latin-1') as f:
    for row in csv.reader(f):
        row += [''] * (8 - len(row))
        groups.setdefault(row[0], []).append(row)
def uid():
    return base64.b64encode(uuid.uuid4().bytes).decode()
out = ['<?xml version="1.0" encoding="UTF-8" standalone="yes"?>', '<KeePassFile><Meta><Generator>bench</Generator></Meta>',
       '<Root><Group><UUID>%s</UUID><Name>Root</Name>' % uid()]
for name, rows in groups.items():
    out.append('<Group><UUID>%s</UUID><Name>%s</Name>' % (uid(), escape(name)))
    for r in rows:
        out.append('<Entry><UUID>%s</UUID>' % uid())
        for key, value in (('Title', r[1]), ('UserName', r[2]), ('Password', r[3]), ('URL', r[4]), ('Notes', r[7])):
            out.append('<String><Key>%s</Key><Value>%s</Value></String>' % (key, escape(value)))
        out.append('</Entry>')
    out.append('</Group>')
out.append('</Group></Root></KeePassFile>')
open(sys.argv[2], 'w', encoding='utf-8').write('\n'.join(out))
PY
printf '%s\n%s\n' "$PASSWORD" "$PASSWORD" | keepassxc-cli import -q -p "$WORK/v.xml" "$WORK/v.kdbx" >/dev/null 2>&1
peerRows=$(keepassxc-cli ls -R -f -q "$WORK/v.kdbx" < "$WORK/pw" | grep -vc '/$')
echo "records: Vaultix $COUNT, keepassxc-cli $peerRows entries"

ms() {
  local start end
  start=$(date +%s%N)
  "$@" >/dev/null
  end=$(date +%s%N)
  echo $(((end - start) / 1000))
}
vaultix() { "$BUILD/vaultix-tool" --file "$WORK/v.dat" list; }
peer() { keepassxc-cli ls -R -q "$WORK/v.kdbx" < "$WORK/pw"; }
vaultix >/dev/null
peer >/dev/null
ours=() theirs=() ratios=()
for i in $(seq "$RUNS"); do
  o=$(ms vaultix)
  t=$(ms peer)
  ours+=("$o") theirs+=("$t") ratios+=("$(awk -v o="$o" -v t="$t" 'BEGIN {printf "%.4f", o / t}')")
done
median() { printf '%s\n' "$@" | sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }
echo "list, median of $RUNS: vaultix-tool $(awk -v u="$(median "${ours[@]}")" 'BEGIN {printf "%.1f", u / 1000}') ms," \
  "keepassxc-cli $(awk -v u="$(median "${theirs[@]}")" 'BEGIN {printf "%.1f", u / 1000}') ms," \
  "ratio $(median "${ratios[@]}") (at most 0.05)"
