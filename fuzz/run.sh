#!/bin/sh
# Fuzzes the codecs in turn, the one that has waited longest first: fuzz/run.sh SECONDS [BUILD_FOLDER] [CODEC...]
# SECONDS are shared by the codecs. What was learnt stays in BUILD_FOLDER/corpus, findings and logs in
# BUILD_FOLDER/findings. Exit status 1 when there is a new finding.
set -u
seconds=${1:?usage: fuzz/run.sh SECONDS [BUILD_FOLDER] [CODEC...]}
root=$(cd "$(dirname "$0")/.." && pwd)
build=${2:-$root/build/fuzz}
[ $# -ge 2 ] && shift
shift
seeds=$build/seeds corpus=$build/corpus findings=$build/findings
mkdir -p "$seeds" "$corpus" "$findings"
"$build/bin/write_seeds" "$seeds" || exit 2

# The date of a codec's stamp file is the date of its last run; a codec without one has waited for ever.
waiting() {
    for program in "$build"/bin/fuzz_*; do
        codec=${program##*/fuzz_}
        stamp=$findings/$codec.last
        date=0
        [ -e "$stamp" ] && date=$(stat -c %Y "$stamp")
        echo "$date $codec"
    done | sort -n | cut -d' ' -f2
}
codecs=${*:-$(waiting)}
each=$((seconds / $(echo $codecs | wc -w)))
[ "$each" -lt 1 ] && each=1

# LeakSanitizer cannot run under every tracer and container; the sanitizers proper always do.
export ASAN_OPTIONS=${ASAN_OPTIONS:-allocator_may_return_null=1}
failed=0
for codec in $codecs; do
    mkdir -p "$corpus/$codec" "$seeds/$codec"
    log=$findings/$codec.log
    "$build/bin/fuzz_$codec" -max_total_time="$each" -timeout=5 -rss_limit_mb=1024 -max_len=16384 -print_final_stats=1 \
        -artifact_prefix="$findings/$codec-" "$corpus/$codec" "$seeds/$codec" >"$log" 2>&1
    status=$?
    touch "$findings/$codec.last"
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    if [ $status -eq 0 ]; then
        echo "$codec: ${runs:-0} inputs in $each s, nothing found"
    else
        failed=1
        echo "$codec: FINDING after ${runs:-?} inputs: $(grep -m1 -E 'SUMMARY|broken promise|ERROR' "$log"); see $log"
    fi
done
exit $failed
