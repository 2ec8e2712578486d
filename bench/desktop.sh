#!/usr/bin/env bash
# Mavo on a test desktop, side by side with its peers, in one run:
#   - new window → frame at the usable area (median, p95) for the floor (the window asks the
#     window manager to maximize it), devilspie2 with one rule (maximize every normal window) and Mavo;
#   - idle CPU of Mavo and of the X server with 20 and with 220 windows open, and Mavo's RSS.
# Xvfb 1920×1080 with Openbox and a top panel with a strut; nothing else runs on it.
#
#   bash bench/desktop.sh [BUILD_DIR]     (default build/release; SAMPLES=N, ROUNDS=N, IDLE_SECONDS=N)
#
# The three take turns, ROUNDS times each with SAMPLES/ROUNDS windows, so that a slow spell of the
# machine falls on all of them rather than on whichever ran then.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib/desktop.sh
build=$(realpath "${1:-build/release}")
samples=${SAMPLES:-60}
rounds=${ROUNDS:-4}
idle=${IDLE_SECONDS:-20}

bash scripts/install-deps.sh >/dev/null
command -v devilspie2 >/dev/null || {
    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends devilspie2 >/dev/null
}
if [ ! -x "$build/bin/mavo" ] || [ ! -x "$build/bench/mavo_new_window_probe" ]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build "$build" -j "$(nproc)" --target mavo mavo_new_window_probe mavo_test_client
fi
probe=$build/bench/mavo_new_window_probe
client=$build/tests/clients/mavo_test_client

scratch=$(mktemp -d /tmp/mavo-bench.XXXXXX)
pids=()
cleanup() {
    local i
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill -TERM "${pids[$i]}" 2>/dev/null || true; done
    wait 2>/dev/null || true
}
trap cleanup EXIT

start_xvfb "$scratch"
xvfb_pid=${pids[-1]}
export HOME=$scratch XDG_CONFIG_HOME=$scratch/config XDG_DATA_HOME=$scratch/data
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME"
unset DBUS_SESSION_BUS_ADDRESS
start_openbox "$scratch"
"$client" --kind dock --geometry 1920x28+0+0 --title panel >/dev/null &
pids+=($!)
sleep 0.5

# CPU time of all of a process's threads in nanoseconds: the scheduler's own count, not the
# clock ticks of /proc/PID/stat, whose 10 ms steps are as large as what idle is measured against.
cpu_ns() { cat /proc/"$1"/task/*/schedstat 2>/dev/null | awk '{ sum += $1 } END { printf "%.0f\n", sum }'; }
# Percent of one core that each given process used over the next $idle seconds.
idle_cpu() {
    local before=() after=() p
    for p in "$@"; do before+=("$(cpu_ns "$p")"); done
    sleep "$idle"
    for p in "$@"; do after+=("$(cpu_ns "$p")"); done
    local i out=()
    for i in "${!before[@]}"; do
        out+=("$(awk -v d=$((after[i] - before[i])) -v s="$idle" \
            'BEGIN { printf "%.3f", 100 * d / 1e9 / s }')")
    done
    echo "${out[*]}"
}
# Waits until the windows just opened are set up and Mavo has done its work on them (each given
# process under 10 ms of CPU over 2 s, 90 s at most) and prints how long that took, so
# that idle is measured idle. The X server is watched too: while clients are still mapping
# windows, Mavo may rest between two bursts of them.
settle() {
    local start=$SECONDS before=() p i quiet
    while [ $((SECONDS - start)) -lt 90 ]; do
        before=()
        for p in "$@"; do before+=("$(cpu_ns "$p")"); done
        sleep 2
        quiet=1
        i=0
        for p in "$@"; do
            [ "$(cpu_ns "$p")" -le $((before[i] + 10000000)) ] || quiet=0
            i=$((i + 1))
        done
        [ "$quiet" = 1 ] && break
    done
    echo $((SECONDS - start))
}
open_windows() {  # N windows in processes of 22
    local n=$1 each
    while [ "$n" -gt 0 ]; do
        each=$((n < 22 ? n : 22))
        "$client" --title "idle $n" --class "Idle$n" --extra-windows $((each - 1)) >/dev/null &
        window_pids+=($!)
        pids+=($!)
        n=$((n - each))
    done
    sleep 2
}
close_windows() {
    local p
    for p in "${window_pids[@]}"; do kill -TERM "$p" 2>/dev/null || true; done
    window_pids=()
    sleep 1
}
sample_round() {  # file, probe args...: appends one round's samples to the file
    local file=$1
    shift
    "$probe" --samples $((samples / rounds)) "$@" | head -n -1 >>"$file"
}
# Median and p95 of the samples in a file, as the probe prints them.
summary() {
    local label=$1 file=$2
    grep -v timeout "$file" | sort -g | awk -v label="$label" -v timeouts="$(grep -c timeout "$file")" \
        '{ v[NR - 1] = $1 } END {
            i95 = int(0.95 * NR); if (i95 > NR - 1) i95 = NR - 1
            printf "%-40s samples=%d timeouts=%d median_ms=%.2f p95_ms=%.2f\n", label,
                NR + timeouts, timeouts, NR ? v[int(0.5 * NR)] : -1, NR ? v[i95] : -1 }' |
        tee -a "$scratch/results"
}

window_pids=()
open_windows 20
echo "== new window → frame at the usable area ($samples samples each in $rounds rounds; 20 idle windows open)"
devilspie_dir=$scratch/devilspie2
mkdir -p "$devilspie_dir"
echo 'if get_window_type() == "WINDOW_TYPE_NORMAL" then maximize() end' >"$devilspie_dir/max.lua"
for ((round = 0; round < rounds; round++)); do
    sample_round "$scratch/floor" --ask-wm

    devilspie2 -f "$devilspie_dir" >>"$scratch/devilspie2.log" 2>&1 &
    dp_pid=$!
    pids+=("$dp_pid")
    sleep 1
    sample_round "$scratch/devilspie2.samples"
    devilspie_rss=$(awk '/VmRSS/ {print $2}' "/proc/$dp_pid/status")
    kill -TERM "$dp_pid"
    wait "$dp_pid" 2>/dev/null || true

    "$build/bin/mavo" >>"$scratch/mavo.log" 2>&1 &
    mavo_pid=$!
    pids+=("$mavo_pid")
    sleep 2
    sample_round "$scratch/mavo"
    # The last round's Mavo stays for the idle measurements.
    if ((round < rounds - 1)); then
        kill -TERM "$mavo_pid"
        wait "$mavo_pid" 2>/dev/null || true
    fi
done
summary "floor (the window asks the WM)" "$scratch/floor"
summary "devilspie2 (one rule: maximize)" "$scratch/devilspie2.samples"
summary "Mavo" "$scratch/mavo"

echo "== idle CPU over ${idle} s (% of one core: Mavo, X server)"
settle20=$(settle "$mavo_pid" "$xvfb_pid")
read -r m20 x20 <<<"$(idle_cpu "$mavo_pid" "$xvfb_pid")"
close_windows
open_windows 220
settle220=$(settle "$mavo_pid" "$xvfb_pid")
read -r m220 x220 <<<"$(idle_cpu "$mavo_pid" "$xvfb_pid")"
mavo_rss=$(awk '/VmRSS/ {print $2}' "/proc/$mavo_pid/status")
kill -TERM "$mavo_pid"
wait "$mavo_pid" 2>/dev/null || true
read -r xbase <<<"$(idle_cpu "$xvfb_pid")"

cat <<EOF | tee -a "$scratch/results"
Mavo, 20 windows:   ${m20} % (X server ${x20} %; settled after ${settle20} s)
Mavo, 220 windows:  ${m220} % (X server ${x220} %; without Mavo ${xbase} %; settled after ${settle220} s)
RSS: Mavo $((mavo_rss / 1024)) MB, devilspie2 $((devilspie_rss / 1024)) MB
EOF
echo "== results in $scratch/results"
