#!/usr/bin/env bash
# Makes a container image of the packages in build/package/: an archive in the layout of the OCI, out of Debian's packages and
# ours, without a registry. As root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../build/package"

SOURCE_DATE_EPOCH=$(dpkg-parsechangelog --file nimbo1/debian/changelog --show-field Timestamp)
export SOURCE_DATE_EPOCH
version=$(dpkg-deb --field ./nimbo1_*.deb Version)
storage=(--root "$PWD/image/storage" --runroot "$PWD/image/run" --storage-driver vfs)

# The files of what the program needs and no system around them: no shell, no package manager, nobody but nobody.
rm -rf image image.tar nimbo1-image.tar
mmdebstrap --quiet --mode=root --variant=extract --include=./nimbo1_*.deb --include=./liborvixnimbo1_*.deb --include=tzdata \
    --customize-hook='rm -rf "$1"/var/lib/apt "$1"/var/cache "$1"/usr/share/man "$1"/usr/share/locale "$1"/lib/systemd' \
    --customize-hook='find "$1"/usr/share/doc -type f ! -name copyright -delete' \
    --customize-hook='install -D -m 644 /etc/ssl/certs/ca-certificates.crt "$1"/etc/ssl/certs/ca-certificates.crt' \
    --customize-hook='echo "nobody:x:65534:65534:nobody:/var/lib/nimbo1:/usr/sbin/nologin" >"$1"/etc/passwd' \
    --customize-hook='printf "dialout:x:20:\nnogroup:x:65534:\n" >"$1"/etc/group' \
    --customize-hook='install -d -m 1777 "$1"/tmp && install -d -o 65534 -g 65534 -m 700 "$1"/var/lib/nimbo1' \
    bookworm image.tar

container=$(buildah "${storage[@]}" from scratch)
trap 'buildah "${storage[@]}" rm --all >/dev/null; rm -rf image image.tar' EXIT
buildah "${storage[@]}" add --quiet "$container" image.tar /
# The data folder is that of the service, for every command.
buildah "${storage[@]}" config --user 65534:65534 --volume /var/lib/nimbo1 --workingdir /var/lib/nimbo1 \
    --env XDG_DATA_HOME=/var/lib --env XDG_CONFIG_HOME=/var/lib/nimbo1/settings --env HOME=/var/lib/nimbo1 \
    --entrypoint '["/usr/bin/nimbo1"]' --cmd 'run --quiet --config /etc/nimbo1/nimbo1.toml' --stop-signal SIGTERM \
    --label org.opencontainers.image.title=nimbo1 --label "org.opencontainers.image.version=$version" \
    --label org.opencontainers.image.licenses=MIT "$container"
buildah "${storage[@]}" commit --quiet --timestamp "$SOURCE_DATE_EPOCH" "$container" "oci-archive:$PWD/nimbo1-image.tar:nimbo1:$version"
ls -lh nimbo1-image.tar
