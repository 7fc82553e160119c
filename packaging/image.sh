#!/usr/bin/env bash
# Makes a container image of the packages in build/package/: an archive in the layout of the OCI, out of Debian's packages and
# ours, without a registry. As root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../build/package"

# Names of devices may be written in any script.
readonly FONTS=fonts-noto-core,fonts-wqy-microhei
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog --file nimbo1/debian/changelog --show-field Timestamp)
export SOURCE_DATE_EPOCH
program=$(echo ./nimbo1_*.deb)
library=$(echo ./liborvixnimbo1_*.deb)
version=$(dpkg-deb --field "$program" Version)
storage=(--root "$PWD/image/storage" --runroot "$PWD/image/run" --storage-driver vfs)

# depends_of FILE...: the names of packages that these need, apart from our own.
depends_of() {
    local file
    for file in "$@"; do dpkg-deb --field "$file" Depends; done |
        tr ',' '\n' | sed -E 's/\(.*//; s/[ ]//g; /^$/d; /^liborvixnimbo1$/d' | sort -u | paste -sd,
}

# The files of what the program needs and no system around them: no shell, no package manager, nobody but nobody.
rm -rf image nimbo1-image.tar
mkdir image
trap 'rm -rf image' EXIT
mmdebstrap --quiet --mode=root --variant=extract --include="$(depends_of "$program" "$library"),tzdata,$FONTS" bookworm image/files
dpkg-deb --extract "$program" image/files
dpkg-deb --extract "$library" image/files
# What needs perl is debconf, which asks nobody here.
rm -rf image/files/{dev,var/{lib/{apt,dpkg},cache,log}} image/files/usr/{sbin,share/{man,locale,debconf,perl5}} \
    image/files/usr/bin/perl* image/files/usr/lib/*/perl-base image/files/lib/systemd image/files/etc/apt
# Of each script one face is enough.
rm -f image/files/usr/share/fonts/truetype/noto/NotoSerif*
find image/files/usr/share/doc -type f ! -name copyright -delete
# TLS needs to know whom a machine trusts.
install -D -m 644 /etc/ssl/certs/ca-certificates.crt image/files/etc/ssl/certs/ca-certificates.crt
echo 'nobody:x:65534:65534:nobody:/var/lib/nimbo1:/usr/sbin/nologin' >image/files/etc/passwd
printf 'dialout:x:20:\nnogroup:x:65534:\n' >image/files/etc/group
install -d -m 1777 image/files/tmp
install -d -o 65534 -g 65534 -m 700 image/files/var/lib/nimbo1

container=$(buildah "${storage[@]}" from scratch)
trap 'buildah "${storage[@]}" rm --all >/dev/null; rm -rf image' EXIT
tar --directory image/files --create --sort=name --mtime="@$SOURCE_DATE_EPOCH" --numeric-owner --file image/files.tar .
buildah "${storage[@]}" add --quiet "$container" image/files.tar /
# The data folder is that of the service, for every command.
buildah "${storage[@]}" config --user 65534:65534 --workingdir /var/lib/nimbo1 \
    --env XDG_DATA_HOME=/var/lib --env XDG_CONFIG_HOME=/var/lib/nimbo1/settings --env HOME=/var/lib/nimbo1 \
    --entrypoint '["/usr/bin/nimbo1"]' --cmd 'run --quiet --config /etc/nimbo1/nimbo1.toml' --stop-signal SIGTERM \
    --label org.opencontainers.image.title=nimbo1 --label "org.opencontainers.image.version=$version" \
    --label org.opencontainers.image.licenses=MIT "$container"
buildah "${storage[@]}" commit --quiet --timestamp "$SOURCE_DATE_EPOCH" "$container" "oci-archive:$PWD/nimbo1-image.tar:nimbo1:$version"
ls -lh nimbo1-image.tar
