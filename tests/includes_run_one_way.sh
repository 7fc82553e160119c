#!/usr/bin/env bash
# Checks that every include between the project's folders is one that the architecture allows.
# Usage: includes_run_one_way.sh SOURCE_DIR
set -euo pipefail
cd "$1"

# folder: what it may include besides itself, as path prefixes. The first line that matches a file's folder counts.
readonly RULES="
host:
devices/protocol: host/
diagnostics:      host/
tasks:            host/ devices/protocol/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
missions:         host/ tasks/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
devices:          host/ tasks/ missions/ devices/protocol/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
driver:           host/ tasks/ devices/protocol/ diagnostics/
adapter:          host/ tasks/ missions/ devices/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
library:          host/ tasks/ missions/ devices/ driver/ adapter/
platform:         host/
simulator:        host/ devices/protocol/ platform/
station:          host/ platform/ simulator/ devices/protocol/ tasks/i tasks/enumerations.h devices/i missions/i
"

allowed_for() {
    local folder=$1 line
    while read -r line; do
        [[ $line == "$folder:"* ]] && echo "$folder/ ${line#*:}" && return
    done <<<"$RULES"
}

folder_of() {
    case $1 in
        devices/protocol/*) echo devices/protocol ;;
        *) echo "${1%%/*}" ;;
    esac
}

broken=0
while IFS=: read -r file line include; do
    include=${include#*\"}
    include=${include%%\"*}
    for prefix in $(allowed_for "$(folder_of "$file")"); do
        [[ $include == "$prefix"* ]] && continue 2
    done
    echo "$file:$line: may not include $include"
    broken=1
done < <(grep -rnE '^#include "' --include='*.h' --include='*.cpp' \
    host devices diagnostics tasks missions driver adapter library platform simulator station)
exit $broken
