#!/bin/sh
# Makes NAME.png (the size that the SVG states) and NAME@2x.png from every NAME.svg of this folder.
# Needs rsvg-convert (package librsvg2-bin).
set -eu
cd "$(dirname "$0")"
for svg in *.svg; do
    name=${svg%.svg}
    rsvg-convert --zoom=1 --output="$name.png" "$svg"
    rsvg-convert --zoom=2 --output="$name@2x.png" "$svg"
done
