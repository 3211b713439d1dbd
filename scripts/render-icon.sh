#!/usr/bin/env bash
# Renders the card icon shown by the dialogs (dialogs/icons/chip80.svg) into
# the 80x80 RGBA PNG that is compiled into the program (dialogs/chip80.png).
# The PNG is committed; run this after changing the SVG.
#
# Needs rsvg-convert (librsvg2-bin) and ImageMagick's convert.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
svg=$top/dialogs/icons/chip80.svg
png=${1:-$top/dialogs/chip80.png}

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

rsvg-convert --width 80 --height 80 --keep-aspect-ratio --format png \
    --output "$tmp/rendered.png" "$svg"
# 8 bits per channel, colour type 6 (RGBA), not interlaced, and no time or
# text chunks so that rendering twice gives the same bytes.
convert "$tmp/rendered.png" -background none -gravity center -extent 80x80 \
    -strip -interlace none -define png:exclude-chunks=date,time \
    -define png:bit-depth=8 -define png:color-type=6 "PNG32:$tmp/chip80.png"
mv "$tmp/chip80.png" "$png"
echo "$png"
