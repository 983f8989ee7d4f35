#!/usr/bin/env bash
# Functions that other scripts source. install_packages installs the missing packages of
# scripts/packages.txt, and needs root only if a package is missing.

# The names of all installed packages and of the packages that they provide (npm, for
# example, can be a package or be provided by nodejs). Packages of another architecture
# have names NAME:ARCHITECTURE, as in the list.
installed_packages() {
    local native
    native=$(dpkg --print-architecture)
    dpkg-query -W -f '${db:Status-Status} ${Architecture}, ${Package}, ${Provides}, ${Package}:${Architecture}\n' |
        sed -n "s/([^)]*)//g; s/^installed \($native\|all\),//p; s/^installed .*,//p" |
        tr -s ', ' '\n'
}

# The packages of the given groups.
listed_packages() { # GROUP...
    awk -v groups=" $* " '
        /^\[/ { wanted = index(groups, " " substr($1, 2, length($1) - 2) " ") }
        /^[^#[]/ && wanted { print $1 }' "$(dirname "${BASH_SOURCE[0]}")/packages.txt"
}

# The code name of this machine's Debian.
codename() (. /etc/os-release && echo "$VERSION_CODENAME")

# The Debian mirror of this machine.
debian_mirror() {
    apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' \
        "Codename: $(codename)" 'Component: main' | sed -n 1p
}

# Runs in a subshell, whose trap removes the temporary files. If apt-get fails, the log stays.
install_packages() ( # GROUP...
    missing=$(listed_packages "$@" | grep -vxF -f <(installed_packages)) || true
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "These packages are missing; run as root to install them:" $missing >&2
        return 1
    fi
    for architecture in $(grep -o ':.*' <<<"$missing" | tr -d : | sort -u); do
        dpkg --add-architecture "$architecture"
    done
    log=$(mktemp -t beacond-packages.XXXXXX) || return 1
    chmod 644 "$log" # for the user who called sudo
    temporary=("$log")
    trap 'rm -f "${temporary[@]}"' EXIT
    echo "Installing these Debian packages, which takes some minutes:" $missing
    echo "The log of the installation: $log"
    # Services in the packages must not start on this host: they would send to its real
    # network. The virtual devices start their own.
    policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
        temporary+=("$policy")
        printf '#!/bin/sh\nexit 101\n' >"$policy" && chmod 755 "$policy"
    fi
    if ! { apt-get update -q && DEBIAN_FRONTEND=noninteractive apt-get install -q -y \
        --no-install-recommends $missing; } >"$log" 2>&1; then
        unset 'temporary[0]'
        tail -20 "$log" >&2
        echo "Installing the packages failed. The whole log is $log" >&2
        return 1
    fi
)
