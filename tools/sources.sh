#!/usr/bin/env bash
# sources.sh all|production: names our sources, one per line; production leaves out headers and tests.
set -euo pipefail
cd "$(dirname "$0")/.."

existing=()
production=(runtime files store upkeep commands MacCacheManager tools benchmarks)
others=(tests fuzz)
case ${1:-} in
all)
    folders=("${production[@]}" "${others[@]}")
    names=(-name '*.cpp' -o -name '*.h' -o -name '*.mm')
    ;;
production)
    folders=("${production[@]}")
    names=(-name '*.cpp')
    ;;
*)
    echo "usage: sources.sh all|production" >&2
    exit 1
    ;;
esac
for folder in "${folders[@]}"; do
    if [[ -d $folder ]]; then
        existing+=("$folder")
    fi
done
find "${existing[@]}" -type f \( "${names[@]}" \) | sort
