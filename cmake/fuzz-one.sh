#!/bin/bash
# fuzz-one.sh PROGRAM SECONDS CORPUS SEEDS FOUND: runs one fuzz target for SECONDS from the seeds
# made for it and from what earlier runs learnt. Prints one line, and the whole log on a fault, whose
# input is kept in FOUND.
set -euo pipefail
program=$1
name=$(basename "$program")
corpus=$3/$name
seeds=$4/$name
found=$5/$name
mkdir -p "$corpus" "$seeds"

if "$program" -max_total_time="$2" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$found-" "$corpus" "$seeds" > "$found.log" 2>&1; then
    echo "$name: no fault in $(awk '/number_of_executed_units/ { print $2 }' "$found.log") runs," \
        "$(find "$seeds" -type f | wc -l) seeds"
else
    tail -n 60 "$found.log"
    echo "$name: FAULT; its input lies at $found-*"
    exit 1
fi
