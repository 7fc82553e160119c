#!/usr/bin/env bash
# Makes tests/upgrade/VERSION.tar.gz: a data folder, a configuration, a recording and a device file as an older program writes
# them, and what that program itself tells of them. Run once for each layout, with the program of that time:
#
#   make_fixture.sh OLD_PROGRAM tests/upgrade/VERSION.tar.gz
#
# The two buses are simulated: one by the program itself, one on a pseudo-terminal, which is a serial port like any other.
set -euo pipefail
PROGRAM=$(realpath "$1")
TARGET=$(realpath "$2")
readonly PROGRAM TARGET PORT=/tmp/nimbo1-upgrade/bus
folder=$(mktemp -d)
readonly folder
mkdir -p "$(dirname "$PORT")"
cd "$folder"
export HOME=$folder
unset XDG_DATA_HOME XDG_CONFIG_HOME

old() { "$PROGRAM" "$@" --data data; }

"$PROGRAM" simulate --link "$PORT" --device 5:sensor=21.5 --device 6:sensor=ramp:20:30:10s --device 7:digital=5 \
    --device 8:sensor=3 --fault drop@8:rate=50% --fault unplug:after=40s:for=3s >simulate.out &
bus=$!
trap 'kill "$bus"; rm -rf "$folder" "$(dirname "$PORT")"' EXIT
until [[ -e $PORT ]]; do sleep 0.1; done

# Devices that a scan found, with names, one without an answer.
old scan --port "$PORT" --to 10 --remember >scan.txt
old devices rename 5 Oven --port "$PORT"
old devices rename 6 "Cold room" --port "$PORT"
old devices add 12:sensor:Attic --port "$PORT"

# Two runs, with a new name between; alarms, one of them on at the end; gaps of a device that often fails and of the port.
cat >station.toml <<END
[[bus]]
port = "$PORT"
every = "500ms"
retries = 1

[[bus.device]]
address = 5
model = "sensor"
name = "Stove"
high = 20.0

[[bus.device]]
address = 6
model = "sensor"
name = "Cold room"
high = 25.0
hold_off = 2

[[bus.device]]
address = 7
model = "digital"
name = "Door"
inputs = { 0 = true }

[[bus.device]]
address = 8
model = "sensor"
name = "Fridge"

[history]
keep = "90d"
max_size = "500MB"
END
cp station.toml data/
old run --port "$PORT" --quiet --retries 0 --for 12s 2>/dev/null
old run --config station.toml --quiet --for 30s >/dev/null 2>&1
old run --quiet --for 5s >/dev/null 2>&1 # the simulated bus
"$PROGRAM" record problem.rec --port "$PORT" --device 5:sensor:Oven --device 12:sensor:Attic --every 500ms --for 3s \
    --data elsewhere >/dev/null 2>&1
old export --port "$PORT" --device 5:sensor:Oven --format device --out oven.device 2>/dev/null

# What the old program tells.
mkdir told
old devices >told/devices
old history --since 1d --csv >told/history.csv
old history --since 1d --summary >told/summary
old alarms --since 1d --json >told/alarms
"$PROGRAM" config check station.toml >told/config
"$PROGRAM" replay --fast --json problem.rec >told/replay 2>/dev/null
"$PROGRAM" export --from oven.device --format text --out told/oven.txt 2>/dev/null

rm -rf data/Log data/station.* data/control* elsewhere simulate.out scan.txt .local .config .cache
tar --sort=name --owner=0 --group=0 --numeric-owner --mtime=2026-11-23 -c . | gzip -9n >"$TARGET"
ls -l "$TARGET"
