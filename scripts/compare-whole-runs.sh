#!/bin/bash
# compare-whole-runs.sh PROGRAM [RUNS]: whole runs of the program next to ffmpeg doing the unavoidable part of the same
# work, in turn, so that changes in the machine's speed affect both alike. Prints medians, the fastest runs, their
# ratios, and peak memory.
set -eu
program=$1
runs=${2:-5}

# The encoder settings of the preset web at 1920x1080 and 60 frames a second; they follow Exporter/.
webEncoder=(-c:v libx264 -preset superfast -rc-lookahead 15 -mbtree 1 -bf 0 -subq 0 -weightp 0 -b:v 11197440 -g 120
    -color_primaries bt709 -color_trc bt709 -colorspace bt709 -color_range tv)

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export LC_ALL=C

# Shows what is being measured, on a terminal.
note() { if [ -t 2 ]; then printf '\r\033[K%s' "$1" >&2; fi; }

# measure NAME COMMAND…: appends "seconds kilobytes" to the file of that name.
measure() {
    local name=$1
    shift
    command time -f '%e %M' -o "$folder/last" "$@" >"$folder/output" 2>&1 || {
        cat "$folder/output" >&2
        exit 1
    }
    cat "$folder/last" >>"$folder/$name.runs"
}

# column NAME NUMBER: one column of a command's runs, ascending.
column() { awk -v column="$2" '{print $column}' "$folder/$1.runs" | sort -g; }
median() { column "$1" "$2" | awk '{value[NR] = $1} END {print (value[int((NR + 1) / 2)] + value[int(NR / 2) + 1]) / 2}'; }
lowest() { column "$1" "$2" | head -n 1; }
highest() { column "$1" "$2" | tail -n 1; }
calculate() { awk "BEGIN {printf \"%.${2:-2}f\", $1}"; }

# compare TITLE A B: prints a table of two measured commands.
compare() {
    local name
    printf '\n%s\n%14s%12s%12s%16s\n' "$1" '' median fastest 'peak memory'
    for name in "$2" "$3"; do
        printf '%14s%10s s%10s s%13s MB\n' "$name" "$(calculate "$(median "$name" 1)")" \
            "$(calculate "$(lowest "$name" 1)")" "$(calculate "$(highest "$name" 2) / 1000" 0)"
    done
    printf '%14s%12s%12s%13s MB\n' ratio "$(calculate "$(median "$2" 1) / $(median "$3" 1)")" \
        "$(calculate "$(lowest "$2" 1) / $(lowest "$3" 1)")" \
        "$(calculate "($(highest "$2" 2) - $(highest "$3" 2)) / 1000" 0 | sed 's/^[0-9]/+&/')"
}

# Transcoding as an export does, without drawing.
transcode=(ffmpeg -v error -y -i)
transcodeOutput=("${webEncoder[@]}" -c:a copy -movflags +faststart)

seconds=12
note "Making a recording of $seconds s, 1920x1080, 60 frames a second"
"$program" demo "$folder" --seconds "$seconds" >/dev/null
package=$folder/Demo.lumenwhirl

for ((run = 1; run <= runs; ++run)); do
    note "Run $run of $runs"
    measure lumenwhirl "$program" export "$package" -o "$folder/a.mp4" --encoder software \
        --progress none
    measure ffmpeg "${transcode[@]}" "$package/recording.mp4" "${transcodeOutput[@]}" "$folder/b.mp4"
done
note ""
compare "Export of $seconds s (preset web), and ffmpeg transcoding the recording; $runs runs each, in turn" \
    lumenwhirl ffmpeg

printf '\n%14s%10s%14s%12s\n' preset seconds "frames a s" size
for preset in web social prores gif; do
    note "Preset $preset"
    measure "$preset" "$program" export "$package" -o "$folder/out" --preset "$preset" --encoder software --progress none
    printf '%14s%10s%14s%9s MB\n' "$preset" "$(calculate "$(median "$preset" 1)")" \
        "$(calculate "$seconds * $([ $preset = gif ] && echo 15 || echo 60) / $(median "$preset" 1)" 0)" \
        "$(calculate "$(stat -c %s "$folder/out") / 1e6" 1)"
done
note ""

# The same recording five times over: memory must not grow with the length.
long=$folder/Long.lumenwhirl times=5
mkdir "$long"
ffmpeg -v error -stream_loop $((times - 1)) -i "$package/recording.mp4" -c copy "$long/recording.mp4"
cp "$package/events.json" "$long"
sed -E "s/(\"(duration|trimEnd)\": *)$seconds(\.0)?([,\n]|\$)/\1$((seconds * times))\4/" "$package/project.json" >"$long/project.json"
measure "short" "$program" export "$package" -o "$folder/a.mp4" --progress none
measure "long" "$program" export "$long" -o "$folder/a.mp4" --progress none
printf '\nPeak memory of an export of %s s: %s MB, of %s s: %s MB\n' "$seconds" \
    "$(calculate "$(highest short 2) / 1000" 0)" $((seconds * times)) "$(calculate "$(highest long 2) / 1000" 0)"

# What is cut away must cost next to nothing.
total=$((seconds * times))
for part in "0 2" "$((total - 2)) $total"; do
    read -r start end <<<"$part"
    sed -i -E "s/(\"trimStart\": *)[0-9.]+/\1$start/; s/(\"trimEnd\": *)[0-9.]+/\1$end/" "$long/project.json"
    measure "part$start" "$program" export "$long" -o "$folder/a.mp4" --progress none
done
printf 'Export of the first 2 of %s s: %s s, of the last 2: %s s\n' "$total" "$(calculate "$(lowest part0 1)")" \
    "$(calculate "$(lowest "part$((total - 2))" 1)")"

# Audio long enough for the start-up time not to matter.
ffmpeg -v error -stream_loop 99 -i "$package/recording.mp4" -vn -c copy "$folder/sound.m4a"
rm -f "$folder"/*.runs
for ((run = 1; run <= runs; ++run)); do
    measure lumenwhirl "$program" loudness "$folder/sound.m4a"
    measure ffmpeg ffmpeg -v error -i "$folder/sound.m4a" -f null -
done
compare "Loudness of $((seconds * 100 / 60)) minutes, and ffmpeg decoding them" lumenwhirl ffmpeg

# cold TITLE COMMAND…: prints how long a command takes, on average over ten runs.
cold() {
    local title=$1 start=$EPOCHREALTIME
    shift
    for run in 1 2 3 4 5 6 7 8 9 10; do "$@" >/dev/null; done
    printf '    %s: %s ms\n' "$title" "$(calculate "($EPOCHREALTIME - $start) * 1000 / 10" 0)"
}
printf '\nCold start\n'
cold --version "$program" --version
cold "inspect of the demo" "$program" inspect "$package" --at 2
