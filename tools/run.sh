#!/usr/bin/env bash
# Builds the program and opens it on the installed product, or on a sample cache where none is installed. Without
# a screen the same program runs in a virtual X server: a picture of its window and its tree as text are the
# result. Arguments go to the program.
set -euo pipefail
cd "$(dirname "$0")/.."

product="/Library/Application Support/Fernwick Software/CorvidPro2/"
built=build/release
program=$built/MacCacheManager/CacheManager
picture=build/cache-manager.png

choose_cache() {
    if [[ -d ${CORVIDPRO_ROOT:-}$product ]]; then
        echo "Opening the installed product's caches." >&2
        return
    fi
    CORVIDPRO_ROOT=$(tools/demo.sh "$built/tools/sample_cache")
    export CORVIDPRO_ROOT
    echo "The product is not installed here; opening the sample cache in $CORVIDPRO_ROOT" >&2
}

has_screen() {
    [[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} || $(uname) == Darwin ]]
}

groups=(build)
targets=(CacheManager corvid-cache sample_cache)
if ! has_screen; then
    groups+=(display)
    targets+=(print_tree window_picture)
fi
tools/step.sh "install packages" build/install.log tools/install_dependencies.sh "${groups[@]}"
tools/build.sh release "${targets[@]}"
choose_cache
if has_screen; then
    echo "The same at the command line: $built/commands/corvid-cache list" >&2
    exec "$program" "$@"
fi
"$built/tests/e2e/window_picture" "$picture" "$program" "$@"
echo
"$built/tools/print_tree"
echo
echo "No screen here. Picture of the window: $PWD/$picture"
echo "The same at the command line: CORVIDPRO_ROOT=$CORVIDPRO_ROOT $built/commands/corvid-cache list"
