#!/usr/bin/env bash
# Runs all tests on a build that counts lines, and reports those of the library's folders: a table of lines, and a page
# for each file in build/coverage/report. Arguments go to ctest.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source packaging/setup.sh

build coverage ON all
# Counts of earlier runs would be added to.
find build/coverage -name '*.gcda' -delete
ctest --preset coverage "$@"
mkdir -p build/coverage/report
gcovr --root . --filter '(host|tasks|devices|missions|driver|adapter|diagnostics|library)/' \
    --html-details build/coverage/report/index.html --txt - build/coverage
