#!/usr/bin/env bash
# Runs Ardour's VST 2.4 scanner on a plug-in, as Ardour does when it indexes
# its VST folders, and checks the identity it records.
#   ardour_scan.sh PLUGIN NAME VENDOR UNIQUE_ID INPUTS OUTPUTS
# Exits 77 (skipped) when Ardour is not installed.
set -euo pipefail
plugin=$1 name=$2 vendor=$3 id=$4 ins=$5 outs=$6
scanner=/usr/lib/ardour7/ardour-vst-scanner
if [ ! -x "$scanner" ]; then
  echo "Ardour's scanner is not installed ($scanner)"
  exit 77
fi
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# A private home: the scanner writes its cache there, not into the user's.
out=$(HOME="$tmp" XDG_CACHE_HOME="$tmp/cache" LD_LIBRARY_PATH=/usr/lib/ardour7 \
      "$scanner" -f -v "$plugin" 2>&1) || { echo "$out"; echo "the scanner failed"; exit 1; }
echo "$out"
line=$(grep '<VST2Info ' <<<"$out") || { echo "the scanner listed no plug-in"; exit 1; }
for want in "id=\"$id\"" "name=\"$name\"" "creator=\"$vendor\"" "n_inputs=\"$ins\"" \
            "n_outputs=\"$outs\"" "can_process_replace=\"1\""; do
  if ! grep -qF -- "$want" <<<"$line"; then
    echo "expected $want in: $line"
    exit 1
  fi
done
echo "listed: $name by $vendor, id $id, $ins in / $outs out"
