#!/usr/bin/env bash
# Plants single faults into src/ or platform/ (a changed comparison or constant, a dropped
# call, a negated condition, ...) and prints those that no unit test finds and that
# tests/mutation/unseen.txt does not explain. Changes no source. Needs root, except with --core.
#
#   scripts/mutation.sh                      300 faults in src/, the same ones each time
#   scripts/mutation.sh --core src/formats   runs only the core's tests: seconds for each fault
#   scripts/mutation.sh --help               all options
#
# Fails if less than 95 % are found, or if any fault is printed.
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

program=$top/tests/mutation/mutation.py
case " $* " in *" --help "* | *" -h "*) exec /usr/bin/python3 -B "$program" --help ;; esac
. "$top/scripts/setup.sh"
install_packages build network tests
cd "$top"
cmake --preset dev -B build/mutation >/dev/null
targets="all core_test"
case " $* " in *" --core "*) targets=core_test ;; esac
nice cmake --build build/mutation -j "$(nproc)" --target $targets >build/mutation.log ||
    { cat build/mutation.log >&2; exit 1; }
exec /usr/bin/python3 -B "$program" "$@"
