#!/usr/bin/env bash
# Tries the container image in build/package/ as docs/container.md tells to use it: the compose file of that page, with a real
# broker beside the station and a simulated bus on a pseudo-terminal as its converter. As root, in a storage of its own.
set -euo pipefail
page=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../docs/container.md")
cd "$(dirname "${BASH_SOURCE[0]}")/../build/package"
VERSION=$(dpkg-deb --field ./nimbo1_*.deb Version)
readonly page VERSION PROJECT=nimbo1try
FOLDER=$(mktemp -d)
readonly FOLDER
BUS=

say() { echo "image: $*"; }

fail() {
    echo "image: FAILED: $*" >&2
    [[ ! -d $FOLDER/storage ]] || podman logs "$(station)" >&2 || true
    exit 1
}

# within SECONDS COMMAND...: waits until it succeeds, but no longer.
within() {
    local limit=$1 end=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        ((SECONDS < end)) || fail "not within $limit seconds: $*"
        sleep 0.2
    done
}

station() { podman ps --all --quiet --filter "name=${PROJECT}_station"; }
broker() { podman ps --all --quiet --filter "name=${PROJECT}_broker"; }
compose() { (cd "$FOLDER" && podman-compose --project-name "$PROJECT" "$@" >"$FOLDER/compose.log" 2>&1) || fail "compose $1: $(tail -3 "$FOLDER/compose.log")"; }
# block LANGUAGE: the page's block in it.
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$page" | sed '1d;$d'; }
heard() { podman exec "$(broker)" mosquitto_sub -W 10 -C 1 -t "nimbo1/cellar/$1" | grep -q "$2"; }
asked() { curl --fail --silent --header "Authorization: Bearer 0123456789abcdef" "http://127.0.0.1:$PORT/api/v1/$1" | grep -q "$2"; }

cleanup() {
    podman rm --all --force >/dev/null 2>&1 || true
    podman network rm "${PROJECT}_default" >/dev/null 2>&1 || true
    [[ -z $BUS ]] || kill "$BUS" || true
    rm -rf "$FOLDER"
}

# Limits and runtime that containers get also where this shell is not allowed everything.
settings() {
    printf '[storage]\ndriver = "vfs"\ngraphroot = "%s/storage"\nrunroot = "%s/run"\n' "$FOLDER" "$FOLDER" >"$FOLDER/storage.conf"
    printf '[containers]\ndefault_ulimits = ["nofile=1024:1024", "nproc=1000:1000"]\n[engine]\nruntime = "runc"\n' >"$FOLDER/containers.conf"
    export CONTAINERS_STORAGE_CONF=$FOLDER/storage.conf CONTAINERS_CONF=$FOLDER/containers.conf
}

make_broker() {
    say "a broker in an image that is made the same way"
    [[ -f broker.tar ]] || mmdebstrap --quiet --mode=root --variant=minbase --include=mosquitto,mosquitto-clients bookworm broker.tar
    podman import --change 'ENTRYPOINT ["mosquitto","-c","/mosquitto/config/mosquitto.conf"]' broker.tar broker:try >/dev/null 2>&1
    printf 'listener 1883\nallow_anonymous true\n' >"$FOLDER/mosquitto.conf"
}

# The files of the page, but for the broker's image and the converter: a node of a pseudo-terminal is of use only where it is.
write_files() {
    "$PWD/nimbo1/debian/nimbo1/usr/bin/nimbo1" simulate --device 5:sensor=21.5 --link "$FOLDER/bus" >/dev/null &
    BUS=$!
    within 10 test -e "$FOLDER/bus"
    TERMINAL=$(readlink "$FOLDER/bus")
    # The podman-compose of Debian 12 knows no group_add.
    chmod 666 "$TERMINAL"
    PORT=$((20000 + RANDOM % 10000))
    block yaml | sed -e 's,image: eclipse-mosquitto.*,image: localhost/broker:try,' -e "s,127.0.0.1:8080:,127.0.0.1:$PORT:," \
        -e '/devices:/d' -e "s,^      - nimbo1:/var/lib/nimbo1,&\n      - $TERMINAL:/dev/ttyUSB0," >"$FOLDER/docker-compose.yml"
    { printf '[[bus]]\nport = "/dev/ttyUSB0"\n[[bus.device]]\naddress = 5\nmodel = "sensor"\nname = "Oven"\n'; block toml; } >"$FOLDER/nimbo1.toml"
    echo "read 0123456789abcdef" >"$FOLDER/web.tokens"
    chown 65534 "$FOLDER/web.tokens"
    chmod 600 "$FOLDER/web.tokens"
}

try_compose() {
    say "compose: values at the broker and the page, healthy"
    compose up --detach
    within 30 heard 'devices/+/state' '"value":21.5'
    within 10 asked values '"name":"Oven"'
    podman exec "$(station)" nimbo1 health --quiet || fail "it is not healthy"
    [[ $(podman exec "$(station)" nimbo1 values) == *Oven* ]] || fail "commands inside do not find the station"

    say "a broker that goes and comes back"
    podman restart --time 1 "$(broker)" >/dev/null
    within 60 heard status online
    within 30 heard 'devices/+/state' '"value":21.5'

    say "stopped in order; a new container goes on with the volume"
    local id
    id=$(podman exec "$(station)" nimbo1 values --json | sed 's/.*"id":"\([^"]*\)".*/\1/')
    podman stop --time 20 "$(station)" >/dev/null 2>&1
    [[ $(podman inspect --format '{{.State.ExitCode}}' "$(station)") == 0 ]] || fail "an ordered stop counts as failed"
    within 10 heard status offline
    compose down
    compose up --detach
    within 30 heard "devices/$id/state" '"value":21.5'
    local runs
    runs=$(podman exec "$(station)" nimbo1 history --json | grep -c 'was not running' || true)
    ((runs > 0)) || fail "the history did not stay in the volume"
}

try_alone() {
    say "alone, with the group of its converter and the check of its health"
    chgrp 20 "$TERMINAL"
    chmod 660 "$TERMINAL"
    podman run --detach --name alone --group-add 20 --volume "$TERMINAL:/dev/ttyUSB0" \
        --health-cmd '["nimbo1", "health", "--quiet"]' "nimbo1:$VERSION" \
        run --quiet --port /dev/ttyUSB0 --device 5:sensor >/dev/null 2>&1
    within 30 podman healthcheck run alone
    within 30 podman exec alone nimbo1 read temperature --device 5:sensor
    podman stop --time 20 alone >/dev/null 2>&1
    [[ $(podman inspect --format '{{.State.ExitCode}}' alone) == 0 ]] || fail "an ordered stop counts as failed"
}

trap cleanup EXIT
settings
podman load --quiet --input nimbo1-image.tar >/dev/null
make_broker
write_files
try_compose
compose down
try_alone
say "all is well"
