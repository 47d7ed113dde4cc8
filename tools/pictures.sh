#!/usr/bin/env bash
# Takes the pictures that the documents show, of a fresh sample cache: every state of the window in the dark and
# the bright scheme, at one and two pixels per point. window.png is the one that the README shows.
set -euo pipefail
cd "$(dirname "$0")/.."

built=build/release
images=docs/images
tools/step.sh "install packages" build/install.log tools/install_dependencies.sh build display
tools/build.sh release sample_cache take_pictures
rm -rf build/demo
CORVIDPRO_ROOT=$(tools/demo.sh "$built/tools/sample_cache")
export CORVIDPRO_ROOT QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8
mkdir -p "$images"

take() {
    local scheme=$1 brightness=$2 scale=$3 suffix=$4 settings
    settings=$(mktemp -d)
    mkdir -p "$settings/Fernwick Software"
    printf '[General]\nbrightness=%s\n' "$brightness" >"$settings/Fernwick Software/Cache Manager.conf"
    XDG_CONFIG_HOME=$settings QT_SCALE_FACTOR=$scale "$built/tools/take_pictures" "$images" "-$scheme$suffix"
    rm -r "$settings"
}

take dark -100 1 ""
take dark -100 2 "@2x"
take bright 60 1 ""
take bright 60 2 "@2x"
cp "$images/window-selected-dark@2x.png" "$images/window.png"
