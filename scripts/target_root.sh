#!/usr/bin/env bash
# usage: scripts/target_root.sh ARCHITECTURE...
#
# Prepares this machine for builds for armhf or s390x: installs the cross compiler, and
# unpacks Debian's libraries for that architecture (the group target of packages.txt) into
# /opt/beacond/ARCHITECTURE. Needs root, unless nothing is missing.
#
# The libraries are not installed: Debian installs a library for two architectures only in the
# same version, and its security archive does not have each version for every architecture.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# Writes a database of dpkg with the libraries of the downloaded packages, from which
# dpkg-shlibdeps takes the dependencies of our packages.
write_database() { # UNPACKED ROOT ARCHITECTURE
    local database=$2/dpkg archive name file
    mkdir -p "$database/info"
    echo 1 >"$database/info/format"
    for archive in "$1"/var/cache/apt/archives/*.deb; do
        dpkg-deb --control "$archive" "$1/control"
        [ ! -e "$1/control/shlibs" ] || {
            name=$(dpkg-deb --field "$archive" Package):$3
            sed '/^Package:/a Status: install ok installed' "$1/control/control"
            echo
            for file in shlibs symbols; do
                [ ! -e "$1/control/$file" ] || mv "$1/control/$file" "$database/info/$name.$file"
            done
            dpkg-deb --fsys-tarfile "$archive" | tar --list |
                sed -E "s|^\./(usr/)?|$2/usr/|; s|/$||" >"$database/info/$name.list"
        } >>"$database/status"
        rm -r "$1/control"
    done
}

make_root() { # ARCHITECTURE
    local root=/opt/beacond/$1 unpacked packages
    install_packages build "$1"
    packages=$(listed_packages target | paste -sd,)
    [ "$(cat "$root/packages" 2>/dev/null)" != "$packages" ] || return 0
    echo "Unpacking Debian's libraries for $1 into $root"
    rm -rf "$root"
    mkdir -p "$root"/usr/{bin,lib}
    unpacked=$root/unpacked
    mmdebstrap --mode=root --arch="$1" --variant=extract --skip=check/qemu,cleanup/apt \
        --hook-dir=/usr/share/mmdebstrap/hooks/merged-usr \
        --aptopt='APT::Install-Recommends "false"' --include="$packages" \
        "$release" "$unpacked" "deb $(debian_mirror) $release main" \
        >"$root/log" 2>&1 || { cat "$root/log"; return 1; }
    write_database "$unpacked" "$root" "$1"
    # Moves only these files: programs under emulation use each file of the root instead of
    # this machine's file of the same name. (Qt's CMake files look for qmake.)
    mv "$unpacked"/usr/include "$root/usr"
    mv "$unpacked"/usr/bin/*-qmake "$root/usr/bin"
    mv "$unpacked"/usr/lib/{*-linux-gnu*,ld*.so*,qt5} "$root/usr/lib"
    ln -s usr/lib "$root/lib"
    ln -sfn /usr/lib/qt5/bin/moc "$root/usr/lib/qt5/bin/moc" # moc runs on this machine
    rm -r "$unpacked" "$root/log"
    echo "$packages" >"$root/packages"
}

# The libraries are of the build machine's release, as its cross compiler is.
release=$(codename)
for architecture in "$@"; do
    make_root "$architecture"
done
