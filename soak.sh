#!/usr/bin/env bash
# Installs what the build needs, builds the soak program and runs it: hours in virtual time, then events of the random
# model of adapter and driver, then minutes in real time over pseudo-terminals, with faults, unplugging and requests of a
# host. Ends with a table of counts, and with status 1 when one that must be 0 is not.
#
#   ./soak.sh [--virtual HOURS] [--events N] [--real MINUTES] [--seed N]
#
# Without arguments: 24 hours, 500,000 events, 1 minute and a new seed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source packaging/setup.sh

install_packages "${BUILD_PACKAGES[@]}" "${TEST_SUPPORT_PACKAGES[@]}"
build soak ON soak
exec build/soak/soak/soak "$@"
