#!/bin/sh
# Runs a command with another root folder, in the same working directory. Called in a separate
# mount namespace. $1: the root folder; then the command.
set -e
root=$1
top=$PWD
shift
# pivot_root needs a mount point. With chroot instead, processes that enter a mount namespace, as
# tools/lab does, would leave this root.
mount --bind "$root" "$root"
cd "$root"
mount -t proc proc proc
mount -t sysfs sysfs sys
mount --rbind /dev dev
mount -t tmpfs -o mode=755 tmpfs run
mount --bind /tmp tmp
mkdir -p ".$top"
mount --bind "$top" ".$top"
mount --bind "$top/build/debian/build" ".$top/build"
mount --bind "$top/build/stages" ".$top/build/stages"
mkdir run/old
pivot_root . run/old
umount -l /run/old
rmdir /run/old
cd "$top"
exec env -i PATH=/usr/sbin:/usr/bin HOME=/root LC_ALL=C.UTF-8 "$@"
