#!/bin/sh
# Draws the window's PNG images from their vector sources. Run it after changing an SVG file; the PNG
# files are what the program loads. Needs rsvg-convert.
set -eu

cd "$(dirname "$0")/../MacCacheManager/resources"

# The program icon is drawn in two degrees of detail.
for size in 16 24 32 48; do
    rsvg-convert -w "$size" -h "$size" -o "cachemanager_$size.png" cachemanager_small.svg
done
for size in 64 128; do
    rsvg-convert -w "$size" -h "$size" -o "cachemanager_$size.png" cachemanager.svg
done

for source in collapsed.svg expanded.svg scrollarrow_*.svg toolbar_*.svg alert_*.svg; do
    name=${source%.svg}
    rsvg-convert -o "$name.png" "$name.svg"
    rsvg-convert -z 2 -o "$name@2x.png" "$name.svg"
    rsvg-convert -z 3 -o "$name@3x.png" "$name.svg"
done
