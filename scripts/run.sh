#!/usr/bin/env bash
# Builds Mavo and runs it.
#
# With a reachable $DISPLAY, Mavo runs there in the foreground (Ctrl-C ends it the orderly way).
# Without one (a fresh server, CI) it starts a virtual desktop of its own: Xvfb at 1920×1080 with
# Openbox, a private session bus, an Xfce panel whose tray shows Mavo's icon, a window Mavo
# maximizes, one snapped into the left half and one of fixed size, then Mavo on it. It prints the diagnostic log as it grows, saves a screenshot of the desktop after a few
# seconds and prints its path. Ctrl-C stops everything it started. The virtual desktop keeps its
# settings and placements in a scratch folder, never in the home folder.
#
# MAVO_RUN_SECONDS=N stops the virtual desktop by itself after N seconds (for unattended runs).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
. scripts/lib/desktop.sh

bash scripts/install-deps.sh

build=$root/build/release
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j "$(nproc)" --target mavo
mavo=$build/bin/mavo

if [ -n "${DISPLAY:-}" ] && xprop -root >/dev/null 2>&1; then
    echo "== running Mavo on $DISPLAY (diagnostic log: /tmp/mavo-diag.log; Ctrl-C to quit)"
    exec "$mavo"
fi
if [ -n "${DISPLAY:-}" ]; then
    echo "== \$DISPLAY=$DISPLAY cannot be reached; starting a virtual desktop instead"
fi
# The demo windows besides xterm are the project's own test client.
client=$build/tests/clients/mavo_test_client
cmake --build "$build" -j "$(nproc)" --target mavo_test_client >/dev/null 2>&1 ||
    echo "== (the test client did not build; the desktop gets xterm windows only)"

scratch=$(mktemp -d /tmp/mavo-run.XXXXXX)
pids=()  # the desktop's programs, in starting order
mavo_pid=""
tail_pid=""
stop_pid() {
    [ -n "$1" ] || return 0
    kill -TERM "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}
cleanup() {
    trap - INT TERM EXIT
    echo
    echo "== stopping the virtual desktop"
    # Mavo first (it writes its placements on the way out), then the log, the X server last.
    stop_pid "$mavo_pid"
    stop_pid "$tail_pid"
    local i
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do stop_pid "${pids[$i]}"; done
    [ -n "${bus_pid:-}" ] && kill -TERM "$bus_pid" 2>/dev/null || true
    echo "== settings, placements and logs of this run are in $scratch"
}
trap cleanup INT TERM EXIT

echo "== starting Xvfb 1920×1080 with Openbox (files in $scratch)"
start_xvfb "$scratch"
export XDG_CONFIG_HOME=$scratch/config XDG_DATA_HOME=$scratch/data XDG_CACHE_HOME=$scratch/cache
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"

# A session bus of its own, so the tray item has somewhere to live.
bus=$(dbus-daemon --session --fork --print-address=1 --print-pid=1 2>"$scratch/dbus.log" || true)
if [ -n "$bus" ]; then
    export DBUS_SESSION_BUS_ADDRESS=$(echo "$bus" | sed -n 1p)
    bus_pid=$(echo "$bus" | sed -n 2p)
fi

start_openbox "$scratch"
echo "== desktop $DISPLAY is up"

# A real panel along the top with a StatusNotifier tray, where Mavo's icon appears.
panel_xml=$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml
mkdir -p "$(dirname "$panel_xml")"
cat >"$panel_xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="icon-size" type="uint" value="24"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
        <value type="int" value="2"/>
        <value type="int" value="3"/>
        <value type="int" value="4"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="tasklist"/>
    <property name="plugin-2" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
      <property name="style" type="uint" value="0"/>
    </property>
    <property name="plugin-3" type="string" value="systray"/>
    <property name="plugin-4" type="string" value="clock"/>
  </property>
</channel>
XML
if command -v xfce4-panel >/dev/null; then
    xfce4-panel --disable-wm-check >"$scratch/panel.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 100); do
        xprop -root _NET_WORKAREA 2>/dev/null | grep -q ", 0, 32," && break
        sleep 0.1
    done
else
    echo "== (xfce4-panel is not installed; the desktop has no tray)"
fi

# Four windows that show what Mavo does: one it maximizes, one snapped into the left half (yours,
# left alone), one whose size cannot change (centred at the top) and one resized by hand below. The demo client is used when
# it built.
demo() {  # title class geometry [client options]
    if [ -x "$client" ]; then
        "$client" --title "$1" --class "$2" --geometry "$3" "${@:4}" >/dev/null &
    else
        xterm -T "$1" -geometry 80x24 -e sleep 86400 &
    fi
    pids+=($!)
}
demo "Maximized by Mavo" DemoApp 640x420+500+300
# The left half of the area below the panel, outer frame included: Openbox adds its decorations.
demo "Snapped to the left half" SnappedApp 900x900+0+40
demo "Fixed size, top-centred" FixedApp 420x260+1300+700 --kind fixed
demo "Resized by hand" HandApp 640x420+700+500
sleep 1
snapped=$(xdotool search --sync --name "Snapped to the left half" | head -n1)
if [ -n "$snapped" ]; then
    read -r l r t b < <(xprop -id "$snapped" _NET_FRAME_EXTENTS | tr -dc '0-9 ' | xargs)
    read -r _ top _ height _ < <(xprop -root _NET_WORKAREA | tr -dc '0-9 ' | xargs)
    xdotool windowsize "$snapped" $((960 - l - r)) $((height - t - b))
    xdotool windowmove "$snapped" 0 "$top"
fi

echo "== starting Mavo; its diagnostic log follows"
: >/tmp/mavo-diag.log 2>/dev/null || true
"$mavo" 2>"$scratch/mavo.log" &
mavo_pid=$!
tail -n +1 -F /tmp/mavo-diag.log 2>/dev/null &
tail_pid=$!

sleep 3
# A hand resize, as a person does it: Mavo maximized the window, then its bottom-right grip is
# dragged up and to the left with the button held. Mavo keeps (and remembers) the new frame.
hand=$(xdotool search --name "Resized by hand" | head -n1)
if [ -n "$hand" ]; then
    xdotool windowactivate --sync "$hand" mousemove 1917 1078 mousedown 1
    for _ in $(seq 20); do
        xdotool mousemove_relative -- -30 -20
        sleep 0.02
    done
    xdotool mouseup 1
    sleep 2
fi
# Bring the arranged windows in front of the maximized one for the picture.
for title in "Snapped to the left half" "Resized by hand" "Fixed size, top-centred"; do
    xdotool search --name "$title" windowactivate 2>/dev/null || true
done
sleep 1
shot=$scratch/desktop.png
if import -display "$DISPLAY" -window root "$shot" 2>"$scratch/import.log"; then
    echo "== screenshot of the desktop: $shot"
else
    echo "== the screenshot failed; see $scratch/import.log"
fi

if ! kill -0 "$mavo_pid" 2>/dev/null; then
    echo "== Mavo exited:"
    cat "$scratch/mavo.log"
    exit 1
fi
if [ -n "${MAVO_RUN_SECONDS:-}" ]; then
    sleep "$MAVO_RUN_SECONDS"
else
    echo "== Mavo is running on $DISPLAY; Ctrl-C stops everything"
    wait "$mavo_pid" || true
fi
