#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the store and runs its main job: a writer process
# and a reader process on a simulated SD card. It starts a private system bus and the card
# simulator on it, runs the writer (by default one simulated day of measurements, written as
# fast as possible), then the reader, which summarises what it finds, and stops everything
# again. Options:
#   --days N              the writer writes N simulated days that end now (default 1);
#   --realtime SECONDS    the writer writes at the clock's pace while the reader looks in every
#                         few seconds;
#   --card-cycle [SECONDS] (default 30) the writer writes at the clock's pace, a reader keeps
#                         reading beside it, and midway the simulated card is ejected and mounted
#                         again: the store stops and starts its loggers with the card by itself;
#   --keep                leaves the store (the card's folder with logger/logger.db and
#                         logger/data/) in place at the end and prints where it is.
# Every time the programs print is ISO 8601 in UTC.
set -euo pipefail
top="$(cd "$(dirname "$0")/.." && pwd)"

usage() {
    echo "usage: $0 [--days N | --realtime SECONDS | --card-cycle [SECONDS]] [--keep]"
}
fail_usage() {
    echo "run-main.sh: $1" >&2
    usage >&2
    exit 2
}
is_count() {
    [[ "$1" =~ ^[0-9]+$ ]] && [ "$1" -gt 0 ]
}

mode="days"
days=""
seconds=""
keep=0
while [ $# -gt 0 ]; do
    case "$1" in
        --keep) keep=1 ;;
        --days|--realtime)
            [ "$mode" = "days" ] && [ -z "$days" ] || fail_usage "--days, --realtime and --card-cycle exclude each other"
            [ $# -ge 2 ] && is_count "$2" || fail_usage "$1 wants a number above 0"
            if [ "$1" = "--days" ]; then days="$2"; else mode="realtime"; seconds="$2"; fi
            shift ;;
        --card-cycle)
            [ "$mode" = "days" ] && [ -z "$days" ] || fail_usage "--days, --realtime and --card-cycle exclude each other"
            mode="card-cycle"
            seconds=30
            # The length is optional: a number after the option is it.
            if [ $# -ge 2 ] && is_count "$2"; then seconds="$2"; shift; fi ;;
        -h|--help) usage; exit 0 ;;
        *) fail_usage "unknown option $1" ;;
    esac
    shift
done
[ "$mode" != "card-cycle" ] || [ "$seconds" -ge 4 ] || fail_usage "--card-cycle wants at least 4 seconds"

"$top/scripts/setup-debian.sh"

build="$top/build-main"
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZLOGGER_BUILD_TESTS=OFF -DQZLOGGER_BUILD_BENCHMARKS=OFF
cmake --build "$build" -j"$(nproc)" --target qzlogger_demo_writer qzlogger_demo_reader qz-sdcard-simulator qzlogger_cli

# Everything of the run lives in two fresh folders: the card's mount point (below /var/log, a
# folder the store counts as mounted) and a folder for the bus, the shared state files and the
# writer's process-id file.
card="$(mktemp -d /var/log/qzlogger-demo.XXXXXX)"
run="$(mktemp -d /tmp/qzlogger-demo.XXXXXX)"
bus_pid=""
card_pid=""
writer_pid=""
reader_pid=""
# The bus and the simulator always stop, and the run's folder goes; the card's folder, which
# holds the store, stays with --keep.
stop_all() {
    for pid in "$reader_pid" "$writer_pid" "$card_pid" "$bus_pid"; do
        if [ -n "$pid" ]; then kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; fi
    done
    rm -rf "$run"
    if [ "$keep" = 1 ]; then
        echo "== the store is kept in $card: catalogue $card/logger/logger.db, data files $card/logger/data/"
        echo "== remove it with: rm -rf $card"
    else
        rm -rf "$card"
    fi
}
trap stop_all EXIT

cat > "$run/system-bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:dir=$run</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
# The first line the daemon prints is its address.
exec {bus_out}< <(exec dbus-daemon --config-file="$run/system-bus.conf" --nofork --print-address=1)
bus_pid=$!
read -r -t 10 -u "$bus_out" address
export DBUS_SYSTEM_BUS_ADDRESS="$address"
export QZLOGGER_STATE_DIR="$run/state"
export QZLOGGER_PID_FILE="$run/qzlogger.writer.pid"
mkdir -p "$QZLOGGER_STATE_DIR" "$card/logger"

exec {card_out}< <(exec "$build/tools/sdcard-simulator/qz-sdcard-simulator" --mount-point "$card" \
    --logger-path "$card/logger")
card_pid=$!
read -r -t 10 -u "$card_out" ready
[ "$ready" = "qz-sdcard-simulator: ready" ] || { echo "the card simulator did not come up" >&2; exit 1; }

writer="$build/examples/qzlogger_demo_writer"
reader="$build/examples/qzlogger_demo_reader"
simulator="$build/tools/sdcard-simulator/qz-sdcard-simulator"
utc_now() {
    date -u +%Y-%m-%dT%H:%M:%SZ
}
if [ "$mode" = "card-cycle" ]; then
    "$writer" --realtime "$seconds" > "$run/writer.out" &
    writer_pid=$!
    # The writer has come up once it names its store.
    for _ in $(seq 100); do grep -q '^store:' "$run/writer.out" && break; sleep 0.1; done
    "$reader" --from "$(utc_now)" --follow "$((seconds + 4))" &
    reader_pid=$!
    sleep "$((seconds / 2))"
    echo "== the card is ejected"
    "$simulator" --eject
    sleep 4
    echo "== the card is mounted again"
    "$simulator" --mount
    writer_status=0
    wait "$writer_pid" || writer_status=$?
    writer_pid=""
    wait "$reader_pid" || true
    reader_pid=""
    cat "$run/writer.out"
    exit "$writer_status"
elif [ "$mode" = "realtime" ]; then
    "$writer" --realtime "$seconds" &
    writer_pid=$!
    start="$(utc_now)"
    while kill -0 "$writer_pid" 2>/dev/null; do
        sleep 5
        "$reader" --from "$start" --to "$(utc_now)" || true
    done
    wait "$writer_pid"
    writer_pid=""
    "$reader" --from "$start" --to "$(utc_now)"
else
    "$writer" --days "${days:-1}" | tee "$run/writer.out"
    # "span: <first> <last>", both ISO 8601, which the reader takes as they are.
    span=$(sed -n 's/^span: //p' "$run/writer.out")
    "$reader" --from "${span% *}" --to "${span#* }"
    # The command-line tool on the card the writer left, as on a card taken out of a device.
    echo "== qzlogger --card $card info"
    "$build/tools/qzlogger/qzlogger" --card "$card" info
    echo "== qzlogger --card $card ls"
    "$build/tools/qzlogger/qzlogger" --card "$card" ls
    # A chart of the voltage's means over the span, beside the programs the job built: never
    # into the card's folder, which is the store.
    chart="$build/main-job-voltage.png"
    echo "== qzlogger --card $card plot mean_3s.voltage_l1.out.mean_out --from ${span% *} --to ${span#* } --out $chart"
    "$build/tools/qzlogger/qzlogger" --card "$card" plot mean_3s.voltage_l1.out.mean_out \
        --from "${span% *}" --to "${span#* }" --out "$chart"
fi
