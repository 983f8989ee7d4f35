#!/usr/bin/env bash
# Measures which lines and branches of src/ the unit tests and the system tests execute.
# Needs root. Fails below the limits. build/coverage/report/index.html shows the lines that
# were not executed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# The virtual devices have their own versions of these folders, and counters written there
# would be lost.
case $PWD in /tmp/* | /run/* | /var/*)
    echo "Coverage cannot be measured in a work tree in /tmp, /run or /var." >&2
    exit 1 ;;
esac

. scripts/setup.sh
install_packages build network tests
cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$(nproc)"
find build/coverage -name '*.gcda' -delete
# Otherwise ctest would first run the tests that failed last time, without counters.
rm -rf build/coverage/Testing

status=0
# Some tests continue as another user. If that user could not write the counters, a message
# about them on standard error would make these tests fail.
(umask 0 && ctest --test-dir build/coverage --output-on-failure --no-tests=error -j "$(nproc)") ||
    status=1
/usr/bin/python3 -B -m pytest tests/system -n 4 --dist loadfile \
    --programs build/coverage/bin || status=1

# Branches that only an exception takes are not counted.
mkdir -p build/coverage/report
gcovr --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
    --txt --html-details build/coverage/report/index.html --print-summary \
    --fail-under-line 95 --fail-under-branch 85 build/coverage || status=1
exit "$status"
