#!/bin/bash
# compare-lengths.sh PROGRAM: the memory and time that an export of a minute and of an hour takes, next to ffmpeg copying
# the tracks. The index of an MP4, which every program must hold to read and write one, grows with its length.
set -eu
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The picture is small, so that this takes minutes only and growth stands out.
for seconds in 60 3600; do
    "$program" demo "$folder" --seconds "$seconds" --size 320x180 >/dev/null
    printf '%s s, 320x180, 60 frames a second, %s of events\n' "$seconds" \
        "$(du -h "$folder/Demo.lumenwhirl/events.json" | cut -f 1)"
    for preset in web gif; do
        command time -f "    $preset: %M kB, %e s" "$program" export "$folder/Demo.lumenwhirl" \
            -o "$folder/out" --preset "$preset" --progress none
    done
    command time -f "    ffmpeg, copying: %M kB, %e s" ffmpeg -v error -y -i "$folder/Demo.lumenwhirl/recording.mp4" \
        -c copy -movflags +faststart "$folder/copy.mp4"
    rm -r "$folder"/*
done
