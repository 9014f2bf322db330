# What the benchmarks share that run the installed daemon: builds, a bus, the daemon's view of the
# file system, and the end of it all. Sourced from the top of the tree.
# shellcheck shell=bash

readonly DAEMON=/usr/apps/org.norvane.hearthd/bin/hearthd
# shellcheck disable=SC2034 # used by those who source this
readonly ROUTER=marrow.ser.server.MessageRouter

folder=$(mktemp -d /tmp/hearthd-bench-XXXXXX)
pids=()
stop_all() {
    [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null || true
    wait 2>/dev/null || true
    pids=()
}
clean_up() {
    stop_all
    rm -rf "$folder"
}
trap clean_up EXIT

# build FOLDER [OPTION...]: the release preset with the benchmarks, in that folder of the tree. Sets
# `built` to where the benchmarks are and `stage` to the installed tree.
build() {
    cmake --preset release -B "$1" -DHEARTHD_BENCHMARKS=ON "${@:2}" >/dev/null
    cmake --build "$1" -- --quiet
    stage=$PWD/$1/stage
    built=$PWD/$1/Benchmarks
    DESTDIR=$stage cmake --install "$1" >/dev/null
}

# make_view FOLDER: for Build/private-view, with what was built last, and with no manifest.
make_view() {
    local app=$1/apps/org.norvane.hearthd
    mkdir -p "$app/etc/manifests"
    ln -s "$stage/usr/apps/org.norvane.hearthd/bin" "$stage/usr/apps/org.norvane.hearthd/lib" "$app"
}

# make_bench_view FOLDER: with the one service "bench", which answers with what it was given.
make_bench_view() {
    make_view "$1"
    echo "{\"bench\": {\"lib_path\": \"$built/call/libbench_service.so\"}}" \
        >"$1/apps/org.norvane.hearthd/etc/manifests/bench.json"
}

wait_for() { # a command to succeed, a minute at most
    for _ in $(seq 1200); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "'$*' never succeeded; the logs end so:" >&2
    tail -n 20 "$folder"/*.log >&2
    return 1
}

wait_for_service() { # name
    wait_for "$stage/usr/bin/hearthctl" call "$1" '{"ready":true}'
}

start() { # log, command...
    local log=$folder/$1.log
    shift
    "$@" >"$log" 2>&1 &
    pids+=($!)
}

# start_daemon FOLDER [LOG]: in that view; its output goes to a file of that name, or to LOG.
start_daemon() {
    Build/private-view "$1" "$DAEMON" >"${2:-$folder/hearthd.log}" 2>&1 &
    pids+=($!)
}

configure_bus() { # name
    cat >"$folder/$1.conf" <<XML
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>unix:path=$folder/$1.socket</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>
XML
}

# Makes this bus the one of what follows, as soon as it is there.
use_bus() { # name
    wait_for test -S "$folder/$1.socket"
    export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$folder/$1.socket
}

# start_bus NAME: a dbus-daemon, which is the bus of what follows.
start_bus() {
    configure_bus "$1"
    start "$1" dbus-daemon --config-file="$folder/$1.conf" --nofork --nopidfile
    use_bus "$1"
}

# median FILE COLUMN
median() {
    awk -v column="$2" '{ print $column }' "$1" | sort -n | awk '{ value[NR] = $1 }
        END { print value[int((NR + 1) / 2)] }'
}
