# Boots the machine's systemd as process 1 of a nested process namespace.
# $1: the name of its control group; systemd sees only this group.
set -e
# With a read-only /sys, systemd does not start udev, which would receive the host's events.
mount -o bind,ro /sys /sys
mkdir -p /sys/fs/cgroup
mount -t cgroup2 cgroup2 /sys/fs/cgroup
mkdir "/sys/fs/cgroup/$1"
exec unshare --pid --mount --fork --kill-child --mount-proc sh -c '
    mount -o bind,ro /proc/sys /proc/sys
    echo 0 >"/sys/fs/cgroup/$1/cgroup.procs"
    umount /sys/fs/cgroup
    exec unshare --cgroup sh -c "mount -t cgroup2 cgroup2 /sys/fs/cgroup
        exec env -i container=lab PATH=/usr/sbin:/usr/bin /lib/systemd/systemd"' boot "$1"
