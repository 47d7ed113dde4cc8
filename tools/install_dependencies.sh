#!/usr/bin/env bash
# Installs what the given groups need: build (compile everything), display (a virtual X server, a session
# bus and valgrind, for tests and machines without a screen), lint (the formatter and the linter), bench
# (what the benchmarks measure with and against), clang (the compiler of the sanitized builds and the fuzz targets),
# check (what tests look at answers with).
#
# Asks dpkg first and touches no network when nothing is missing. Installs through apt-get as root or
# through a sudo that asks nothing; otherwise it says what is missing and ends with status 1.
set -euo pipefail

packages_of() {
    case $1 in
    build) echo cmake ninja-build g++ qt6-base-dev libgtest-dev libgmock-dev libx11-dev libxtst-dev \
        libcli11-dev libfmt-dev nlohmann-json3-dev ;;
    display) echo xvfb dbus-daemon valgrind ;;
    lint) echo clang-format-14 clang-tidy-14 ;;
    bench) echo strace valgrind pkg-config libfuse3-dev ncdu gdu duc-nox agedu ;;
    clang) echo clang-14 libclang-rt-14-dev llvm-14 ;;
    check) echo python3-jsonschema ;;
    *)
        echo "install_dependencies.sh: unknown group '$1' (build, display, lint, bench, clang or check)" >&2
        return 1
        ;;
    esac
}

# Where there is no dpkg to ask, the commands stand for the packages that hold them.
commands_of() {
    case $1 in
    build) echo cmake ninja c++ ;;
    display) echo Xvfb dbus-daemon ;;
    lint) echo clang-format-14 clang-tidy-14 ;;
    bench) echo strace valgrind pkg-config ;;
    clang) echo clang++-14 ;;
    check) echo python3 ;;
    esac
}

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

require_commands() {
    local missing=() group name
    for group in "$@"; do
        for name in $(commands_of "$group"); do
            command -v "$name" >/dev/null || missing+=("$name")
        done
    done
    if ((${#missing[@]} > 0)); then
        cat >&2 <<END
Missing here: ${missing[*]}
Please install: CMake 3.25 or later, Ninja, a C++20 compiler, Qt 6.4 or later (Core, Gui, Widgets, DBus,
Test), GoogleTest with GoogleMock, libX11 and libXtst with their headers, CLI11, fmt and JSON for Modern C++;
for tests and machines without a screen also Xvfb and dbus-daemon, and Python with jsonschema; for the linters
clang-format and clang-tidy 14.
END
        return 1
    fi
}

install_packages() {
    local as_root=()
    if ((EUID != 0)); then
        as_root=(sudo -n)
        if ! sudo -n true 2>/dev/null; then
            echo "Missing packages. Please run:" >&2
            echo "    sudo apt-get update && sudo apt-get install $*" >&2
            return 1
        fi
    fi
    echo "Installing: $*"
    "${as_root[@]}" apt-get -q update
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends "$@"
}

main() {
    local group package missing=() wanted
    if ! command -v dpkg-query >/dev/null; then
        require_commands "$@"
        return
    fi
    for group in "$@"; do
        wanted=$(packages_of "$group")
        for package in $wanted; do
            is_installed "$package" || missing+=("$package")
        done
    done
    if ((${#missing[@]} > 0)); then
        install_packages "${missing[@]}"
    fi
}

main "$@"
