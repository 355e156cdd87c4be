#!/bin/bash
# compare-recording.sh PROGRAM DESKTOP [SECONDS]: what recording a busy 1080p desktop costs, next to ffmpeg encoding the
# same pictures with the same settings: once from pixels as they are captured, once from planes as the encoder takes
# them. DESKTOP draws it. Measured is the processor time per picture, because a recording runs in real time.
set -eu
program=$1
desktop=$2
seconds=${3:-8}
width=1920 height=1080

folder=$(mktemp -d)
processes=()
finish() {
    [ ${#processes[@]} = 0 ] || kill "${processes[@]}" 2>/dev/null || true
    rm -rf "$folder"
}
trap finish EXIT
export LC_ALL=C HOME=$folder

# The settings of live pictures; they follow Recorder/RecordingFile.cpp and Media/VideoEncoder.cpp.
h264=(-c:v libx264 -preset ultrafast -tune zerolatency -crf 18)
hevc=(-c:v libx265 -preset ultrafast -tune zerolatency -crf 16 -x265-params log-level=none:psy-rd=0)
common=(-g 240 -bf 0 -pix_fmt yuv420p)

mkfifo "$folder/number"
exec 7<>"$folder/number"
Xvfb -displayfd 7 -screen 0 ${width}x${height}x24 -nolisten tcp -noreset >"$folder/xvfb.log" 2>&1 &
processes+=($!)
read -rt 20 -u 7 number || { echo "compare-recording.sh: no X server" >&2; exit 1; }
export DISPLAY=:$number

# cost NAME COMMAND…: runs the command, and writes its processor seconds to the file of that name.
cost() {
    local name=$1
    shift
    command time -f '%U %S %M' -o "$folder/$name" "$@" 2>"$folder/errors" || { cat "$folder/errors" >&2; exit 1; }
}
frames() { ffprobe -v error -select_streams v -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$1" | tr -dc 0-9; }
perPicture() { awk -v frames="$2" '{printf "%.1f", ($1 + $2) * 1000 / frames}' "$folder/$1"; }
# encode NAME PIXELS CODEC: has ffmpeg encode the pictures of the recording.
encode() {
    local -n settings=$3
    ffmpeg -v fatal -i "$recording" -map v -fps_mode passthrough -pix_fmt "$2" -f rawvideo - |
        cost "$1" ffmpeg -v error -y -f rawvideo -pixel_format "$2" -video_size ${width}x$height -framerate 60 -i - \
            "${settings[@]}" "${common[@]}" "$folder/out.mp4"
}

printf '\nRecording %s s of a busy desktop, %sx%s\n' "$seconds" $width $height
printf '%8s%10s%10s%22s%30s%28s%14s\n' codec pictures dropped "recorder, ms each" "ffmpeg from pixels (ratio)" "from planes (ratio)" "peak memory"
for codec in h264 hevc; do
    "$desktop" $width $height $((seconds + 30)) >/dev/null 2>&1 &
    drawing=$!
    processes+=($drawing)
    rm -rf "$folder/Take.lumenwhirl"
    cost recorder "$program" record --seconds "$seconds" --folder "$folder" --name Take --codec $codec --encoder software \
        --no-system-audio >/dev/null
    kill $drawing
    dropped=$(sed -n 's/.* \([0-9]*\) dropped.*/\1/p' "$folder/errors")
    recording=$folder/Take.lumenwhirl/recording.mp4
    pictures=$(frames "$recording")
    encode pixels bgr0 $codec
    encode planes yuv420p $codec
    ours=$(perPicture recorder "$pictures") pixels=$(perPicture pixels "$pictures") planes=$(perPicture planes "$pictures")
    printf '%8s%10s%10s%22s%30s%28s%11s MB\n' $codec "$pictures" "${dropped:-0}" "$ours" \
        "$(awk "BEGIN {printf \"%s (%.2f)\", $pixels, $ours / $pixels}")" \
        "$(awk "BEGIN {printf \"%s (%.2f)\", $planes, $ours / $planes}")" "$(awk '{printf "%.0f", $3 / 1000}' "$folder/recorder")"
done
