#!/usr/bin/env bash
# Measures which lines and branches of src/ the unit tests and the tests of whole
# devices execute. Needs root. Fails below the limits; the lines not executed are
# in build/coverage/report/index.html.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# There the virtual devices have folders of their own, and their counters would
# be lost.
case $PWD in /tmp/* | /run/* | /var/*)
    echo "Coverage cannot be measured in a work tree in /tmp, /run or /var." >&2
    exit 1 ;;
esac

. scripts/setup.sh
install_packages build network tests
cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$(nproc)"
find build/coverage -name '*.gcda' -delete
rm -rf build/coverage/Testing # else what failed last runs first, without counters

status=0
# Some tests go on as a user who may only add to counters that stand already, and
# complaints about counters are not what they expect on standard error.
(umask 0 && ctest --test-dir build/coverage --output-on-failure --no-tests=error -j "$(nproc)") ||
    status=1
/usr/bin/python3 -B -m pytest tests/system -n 4 --dist loadfile \
    --programs build/coverage/bin || status=1

# Not counted: the ways out of a call that only an exception takes.
mkdir -p build/coverage/report
gcovr --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
    --txt --html-details build/coverage/report/index.html --print-summary \
    --fail-under-line 95 --fail-under-branch 85 build/coverage || status=1
exit "$status"
