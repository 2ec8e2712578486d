# Sourced by the scripts that start a virtual desktop. Each program started is appended to the
# caller's "pids" array, so that the caller stops them in reverse order.

# start_xvfb DIR: Xvfb 1920×1080 on a free display (logs in DIR); exports DISPLAY.
start_xvfb() {
    Xvfb -displayfd 3 -screen 0 1920x1080x24 -noreset -nolisten tcp +extension RANDR \
        3>"$1/display" 2>"$1/Xvfb.log" &
    pids+=($!)
    local i
    for i in $(seq 100); do [ -s "$1/display" ] && break; sleep 0.1; done
    [ -s "$1/display" ] || { echo "Xvfb did not start; see $1/Xvfb.log" >&2; return 1; }
    export DISPLAY=":$(head -n1 "$1/display")"
}

# start_openbox DIR: Openbox on $DISPLAY; returns once it manages the screen.
start_openbox() {
    openbox --sm-disable >"$1/openbox.log" 2>&1 &
    pids+=($!)
    local i
    for i in $(seq 100); do
        xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q "window id" && return 0
        sleep 0.1
    done
    echo "Openbox did not start; see $1/openbox.log" >&2
    return 1
}
