#!/usr/bin/env bash
# Checks that every include between the project's folders is one that the architecture allows.
# Usage: includes_run_one_way.sh SOURCE_DIR
set -euo pipefail
cd "$1"

# folder: what it may include besides itself, as path prefixes. "*" stands for each of several folders, which do not include
# each other.
readonly RULES="
host:
devices/protocol: host/ tasks/enumerations.h
diagnostics:      host/
tasks:            host/ devices/protocol/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
missions:         host/ tasks/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
devices:          host/ tasks/ missions/ devices/protocol/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
driver:           host/ tasks/ devices/protocol/ diagnostics/
adapter:          host/ tasks/ missions/ devices/ diagnostics/basPlexaErr.h diagnostics/basEventTracer.h
library:          host/ tasks/ missions/ devices/ driver/ adapter/
platform:         host/
simulator:        host/ devices/protocol/ platform/ station/words/
station/words:         host/
station/model:         host/ devices/protocol/bus_line.h tasks/enumerations.h station/words/
station/report:        host/ platform/ station/words/
station/json:          host/ station/model/
station/http:          host/ platform/ station/model/
station/mqtt:          host/ platform/ devices/protocol/ station/words/ station/model/ station/json/
station/store:         host/ platform/ station/words/ station/model/ station/json/
station/line:          host/ devices/protocol/ station/model/
station/library:       host/ platform/ devices/protocol/ tasks/i tasks/enumerations.h station/model/ station/line/ station/report/
station/source:        host/ platform/ simulator/ devices/protocol/ tasks/i station/model/ station/store/ station/line/ station/library/
station/fleet:         host/ devices/protocol/ tasks/i station/model/ station/json/ station/mqtt/ station/source/
station/run:           host/ platform/ devices/protocol/ station/words/ station/model/ station/source/
station/sink/history:  host/ devices/protocol/ station/model/ station/store/ station/run/
station/sink/lines:    host/ platform/ station/model/ station/json/ station/run/
station/sink/mqtt:     host/ platform/ station/words/ station/model/ station/json/ station/mqtt/ station/store/ station/run/
station/sink/*:        host/ platform/ station/words/ station/model/ station/store/ station/run/
station/door:          host/ platform/ devices/protocol/ station/words/ station/model/ station/json/ station/http/ station/store/ station/run/
station/setup:         host/ platform/ simulator/ devices/protocol/ tasks/enumerations.h station/words/ station/model/
station/commands:      host/ platform/ simulator/ station/
station/main:          simulator/ station/commands/ station/run/
"

allowed_for() {
    local folder=$1 line
    while read -r line; do
        # shellcheck disable=SC2053 # the rule's folder is a pattern
        [[ -n $line && $folder == ${line%%:*} ]] && echo "$folder/ ${line#*:}" && return
    done <<<"$RULES"
}

folder_of() {
    case $1 in
        devices/protocol/* | station/*) echo "${1%/*}" ;;
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
