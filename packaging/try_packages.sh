#!/usr/bin/env bash
# Tries the packages in build/package/ in a clean root of Debian 12 that systemd boots in namespaces of its own: installs, runs,
# reloads, hangs, kills, stops, upgrades, removes and purges the service, with a simulated bus on a pseudo-terminal. As root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../build/package"

readonly ROOT=$PWD/root
GROUP=$(findmnt --noheadings --output TARGET --types cgroup2 | head -1)/nimbo1-try-$$
readonly GROUP
BOOTED=
PACKAGES=()

# say SENTENCE: what is tried next.
say() { echo "packages: $*"; }

# fail SENTENCE: ends with what the service has to say.
fail() {
    echo "packages: FAILED: $*" >&2
    [[ -z $BOOTED ]] || inside systemctl status --no-pager --lines=20 nimbo1 >&2 || true
    exit 1
}

inside() { nsenter --target "$BOOTED" --mount --pid --uts --ipc --cgroup "$@"; }

# within SECONDS COMMAND...: waits until it succeeds, but no longer.
within() {
    local limit=$1 end=$((SECONDS + $1))
    shift
    while ! "$@" >/dev/null 2>&1; do
        ((SECONDS < end)) || fail "not within $limit seconds: $*"
        sleep 0.1
    done
}

# Runs in the new namespaces. The machine's own kernel settings are out of reach.
boot() {
    mount --make-rprivate /
    mount --bind "$ROOT" "$ROOT"
    mount -t proc proc "$ROOT/proc"
    mount --bind "$ROOT/proc/sys" "$ROOT/proc/sys"
    mount -o remount,bind,ro "$ROOT/proc/sys"
    mount -t sysfs -o ro sys "$ROOT/sys"
    mount -t cgroup2 cgroup2 "$ROOT/sys/fs/cgroup"
    mount -t tmpfs tmpfs "$ROOT/run"
    mount -t tmpfs -o mode=755 tmpfs "$ROOT/dev"
    local device
    for device in null zero full random urandom tty; do
        touch "$ROOT/dev/$device"
        mount --bind "/dev/$device" "$ROOT/dev/$device"
    done
    mkdir "$ROOT/dev/pts" "$ROOT/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts "$ROOT/dev/pts"
    mount -t tmpfs tmpfs "$ROOT/dev/shm"
    ln -s pts/ptmx "$ROOT/dev/ptmx"
    cd "$ROOT"
    pivot_root . mnt
    umount -l /mnt
    exec env -i container=other PATH=/usr/sbin:/usr/bin:/sbin:/bin /lib/systemd/systemd --log-target=null --show-status=0
}

start_root() {
    say "a clean root, as small as Debian makes it"
    [[ -f root.tar ]] || mmdebstrap --quiet --mode=root --variant=minbase --include=systemd,systemd-sysv,dbus bookworm root.tar
    rm -rf root
    mkdir root
    tar -C root -xf root.tar
    mkdir root/packages
    cp ./nimbo1_*.deb ./liborvixnimbo1_*.deb root/packages/
    PACKAGES=(root/packages/*)
    PACKAGES=("${PACKAGES[@]#root}")
    # What they depend on comes over the machine's own network.
    cp /etc/resolv.conf root/etc/resolv.conf

    mkdir -p "$GROUP"
    export -f boot
    export ROOT
    (
        echo "$BASHPID" >"$GROUP/cgroup.procs"
        exec unshare --mount --pid --uts --ipc --cgroup --fork bash -euc boot
    ) &
    local outer=$!
    trap 'kill -KILL "$BOOTED" 2>/dev/null; wait; rmdir "$GROUP" 2>/dev/null || true; rm -rf root' EXIT
    within 60 pgrep -P "$outer"
    BOOTED=$(pgrep -P "$outer")
    within 60 inside systemctl is-system-running
}

property() { inside systemctl show --value --property="$1" nimbo1; }
is() { [[ $(property "$1") == "$2" ]]; }
is_other_process() { is ActiveState active && [[ $(property MainPID) != "$1" ]]; }
health_names() { inside nimbo1 health --data /var/lib/nimbo1 | grep -q -- "$1"; }

# inside_apt ARGUMENTS...
inside_apt() {
    inside env DEBIAN_FRONTEND=noninteractive apt-get -y -qq "$@" >apt.log 2>&1 || fail "apt-get $1: $(tail -5 apt.log)"
}

try_install() {
    say "installs"
    inside_apt update
    inside_apt install --no-install-recommends "${PACKAGES[@]}"
    is ActiveState inactive || fail "the service was started before it was configured"
    inside nimbo1 config check /etc/nimbo1/nimbo1.toml
    inside nimbo1 run --for 2s --plain --every 500ms >/dev/null
    inside nimbo1 export --since 1h --format pdf --out /run/readings.pdf
    inside grep -q LiberationSans /run/readings.pdf || fail "what it draws has no font"
}

try_service() {
    say "the service: ready, reloaded, hung, killed, stopped in order"
    inside systemd-run --quiet --unit bus nimbo1 simulate --device 5:sensor --link /run/bus
    within 60 inside test -e /run/bus
    printf '[[bus]]\nport = "%s"\n[[bus.device]]\naddress = 5\nmodel = "sensor"\nname = "Oven"\n' \
        "$(inside readlink /run/bus)" | inside tee /etc/nimbo1/nimbo1.toml >/dev/null
    inside chmod o+rw "$(inside readlink /run/bus)"
    inside systemctl start nimbo1 || fail "it does not start"
    is StatusText "" && fail "it does not tell its status"
    within 60 inside nimbo1 health --data /var/lib/nimbo1
    is ActiveState active || fail "it does not stay active"

    local process
    process=$(property MainPID)
    inside sed -i 's/Oven/Attic/' /etc/nimbo1/nimbo1.toml
    inside systemctl reload nimbo1 || fail "it is not reloaded"
    within 60 health_names Attic
    is MainPID "$process" || fail "reloading started it anew"

    inside systemctl kill --signal=STOP nimbo1
    within 60 is_other_process "$process"
    process=$(property MainPID)
    inside systemctl kill --signal=KILL nimbo1
    within 60 is_other_process "$process"

    inside systemctl stop nimbo1
    is ActiveState inactive || fail "stopped in order it counts as failed"
    inside nimbo1 history --data /var/lib/nimbo1 --csv | grep -q Attic || fail "it has recorded nothing"
}

try_removal() {
    say "upgraded, removed, purged"
    inside systemctl start nimbo1
    local process
    process=$(property MainPID)
    inside_apt install --reinstall "${PACKAGES[@]}"
    is_other_process "$process" || fail "an upgrade leaves the old program running"
    inside grep -q Attic /etc/nimbo1/nimbo1.toml || fail "an upgrade replaces the configuration"
    inside_apt remove nimbo1
    is ActiveState inactive || fail "removed, it still runs"
    inside test -e /etc/nimbo1/nimbo1.toml || fail "removal takes the configuration"
    inside_apt purge nimbo1 liborvixnimbo1
    [[ -z $(inside find /etc /usr /lib/systemd -path '*nimbo1*' -print) ]] || fail "purged, files are left"
}

start_root
try_install
try_service
try_removal
say "all is well"
