#!/usr/bin/env bash
# The one Wine environment of this project, shared by ctest (as the cross-compiling
# emulator) and by the demo.
#
#   wine.sh start        prepare the prefix, start a persistent wineserver and pre-warm it
#   wine.sh run EXE ...  run a Windows program in the prefix (starting the server if needed)
#   wine.sh stop         stop this prefix's wineserver, and nothing else
#   wine.sh prefix       print the prefix path
#
# The prefix lives inside the build tree (build/windows/wineprefix) unless WINEPREFIX is
# set. Windows are created by the null graphics driver, so no display is needed, and a
# crashing program ends at once instead of waiting in Wine's debugger.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
export WINEPREFIX=${WINEPREFIX:-$(cd "$here/.." && pwd)/build/windows/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEARCH=win64
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
ready_marker="$WINEPREFIX/.lumo-ready"

create_prefix() {
    mkdir -p "$(dirname "$WINEPREFIX")"
    local lock="$WINEPREFIX.lock"
    exec 9>"$lock"
    flock 9
    if [ ! -f "$ready_marker" ]; then
        rm -rf "$WINEPREFIX"
        wineboot --init </dev/null >/dev/null 2>&1
        wineserver -w
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f </dev/null >/dev/null 2>&1
        wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
            /v Debugger /d '' /f </dev/null >/dev/null 2>&1
        wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f \
            </dev/null >/dev/null 2>&1
        wineserver -k 2>/dev/null || true
        wineserver -w
        touch "$ready_marker"
    fi
    flock -u 9
}

# The server's socket lies in /tmp/.wine-UID, or, where that folder is not the user's own
# (as root here), in a folder Wine makes with a random name: /tmp/wine-XXXXXX.
server_running() {
    local dir
    dir=$(printf 'server-%x-%x' "$(stat -c %d "$WINEPREFIX")" "$(stat -c %i "$WINEPREFIX")")
    compgen -G "/tmp/.wine-$(id -u)/$dir/socket" >/dev/null ||
        compgen -G "/tmp/wine-*/$dir/socket" >/dev/null
}

start_server() {
    [ -f "$ready_marker" ] || create_prefix
    if ! server_running; then
        (wineserver -p </dev/null >/dev/null 2>&1 &)
        # Pre-warm with every stream detached, so that Wine's background services never
        # hold a pipe of whoever started us.
        wine cmd /c exit </dev/null >/dev/null 2>&1 || true
    fi
}

case "${1:-}" in
    start) start_server ;;
    run)
        shift
        start_server
        exec wine "$@"
        ;;
    stop)
        if [ -d "$WINEPREFIX" ]; then
            wineserver -k 2>/dev/null || true
            wineserver -w 2>/dev/null || true
        fi
        ;;
    prefix) echo "$WINEPREFIX" ;;
    *)
        echo "usage: wine.sh start | run EXE [ARGS...] | stop | prefix" >&2
        exit 2
        ;;
esac
