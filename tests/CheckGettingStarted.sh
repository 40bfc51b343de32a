#!/usr/bin/env bash
# Keeps docs/getting-started.md true: the programs printed on the page must be the example
# sources to the letter, and the page's shell block, run as it stands with the built programs,
# must bring up the bus and the card simulator, write, read, and leave nothing behind: no
# process, nothing in TMPDIR, no card folder below /var/log. The block is also run once with a
# writer that fails, to show that it cleans up on failure too.
#   CheckGettingStarted.sh PAGE SOURCE_DIR BUILD_DIR
# The simulator comes from QZLOGGER_SDCARD_SIMULATOR, as for every test of the card.
set -u
page=$1
source_dir=$2
build_dir=$3
failures=0
fail() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

work=$(mktemp -d "$build_dir/getting-started-check.XXXXXX")
trap 'rm -rf "$work"' EXIT

# The text between "<!-- begin: NAME -->" and "<!-- end: NAME -->", without the fence lines.
extract() {
    awk -v begin="<!-- begin: $1 -->" -v end="<!-- end: $1 -->" '
        $0 == end { inside = 0 }
        inside { print }
        $0 == begin { inside = 1 }' "$page" | sed '1{/^```/d}' | sed '${/^```/d}'
}

for example in first_writer.cpp first_reader.cpp; do
    extract "examples/$example" > "$work/$example"
    if [ ! -s "$work/$example" ]; then
        fail "the page has no block examples/$example"
    elif ! diff -u "$source_dir/examples/$example" "$work/$example"; then
        fail "the page's examples/$example differs from the source (diff above)"
    fi
done

extract shell > "$work/block.sh"
[ -s "$work/block.sh" ] || fail "the page has no shell block"

# Runs the block in a session of its own, so that whatever it leaves running can be found.
# setsid execs at once here (a background child is no group leader): its pid is the session id.
run_block() {
    local label=$1 out=$2 build=$3
    mkdir -p "$work/tmp-$label"
    ls -d /var/log/qzlogger-first.* 2>/dev/null | sort > "$work/cards-before"
    TMPDIR="$work/tmp-$label" QZLOGGER_BUILD_DIR="$build" setsid bash "$work/block.sh" > "$out" 2>&1 &
    local pid=$!
    wait "$pid"
    local status=$?
    local left
    left=$(pgrep -s "$pid" || true)
    if [ -n "$left" ]; then
        fail "$label: the block left processes running: $left"
        kill $left 2>/dev/null
    fi
    if [ -n "$(ls -A "$work/tmp-$label")" ]; then
        fail "$label: the block left files in TMPDIR: $(ls -A "$work/tmp-$label")"
    fi
    ls -d /var/log/qzlogger-first.* 2>/dev/null | sort > "$work/cards-after"
    if [ -n "$(comm -13 "$work/cards-before" "$work/cards-after")" ]; then
        fail "$label: the block left a card folder: $(comm -13 "$work/cards-before" "$work/cards-after")"
        comm -13 "$work/cards-before" "$work/cards-after" | xargs rm -rf
    fi
    return "$status"
}

if [ -s "$work/block.sh" ]; then
    if ! run_block good "$work/good.out" "$build_dir"; then
        cat "$work/good.out" >&2
        fail "the shell block failed"
    fi
    for id in mean_3s.voltage_l1.out.mean_out aggr.mean_10min.frequency.out; do
        grep -Eq "^$id: 20 items from [0-9T:-]+Z to [0-9T:-]+Z$" "$work/good.out" ||
            fail "the reader did not report 20 items of $id"
    done
    grep -q '^written: 20 of each, 0 refused$' "$work/good.out" || fail "the writer did not report its items"

    # A build whose writer fails: the block must stop at it and still clean up.
    mkdir -p "$work/broken/examples"
    printf '#!/bin/sh\necho "first_writer: the store did not come up" >&2\nexit 1\n' > "$work/broken/examples/first_writer"
    cp "$work/broken/examples/first_writer" "$work/broken/examples/first_reader"
    chmod +x "$work/broken/examples/first_writer" "$work/broken/examples/first_reader"
    if run_block broken "$work/broken.out" "$work/broken"; then
        cat "$work/broken.out" >&2
        fail "the shell block went on past a failing writer"
    fi
fi

[ "$failures" -eq 0 ] && echo "docs/getting-started.md: programs match, shell block runs and cleans up"
exit $((failures > 0))
