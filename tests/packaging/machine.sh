# A machine with its own root. $1: its name, $2: its address, $3: a fresh root, which
# is not changed, since all writes go to memory, $4: the folder of the packages,
# mounted on /mnt.
set -e
mount --make-rprivate /
mount -t tmpfs -o mode=755 tmpfs "$3/mnt"
mkdir "$3/mnt/written" "$3/mnt/work" "$3/mnt/root"
mount -t overlay -o "lowerdir=$3,upperdir=$3/mnt/written,workdir=$3/mnt/work" overlay "$3/mnt/root"
cd "$3/mnt/root"
mount --bind "$4" mnt
mount -t proc proc proc
mount -t sysfs sysfs sys
mount -t tmpfs -o mode=755 tmpfs run
mkdir run/lab
hostname "$1"
echo "$1" >etc/hostname
echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6
echo 1 >/proc/sys/net/ipv6/conf/default/disable_ipv6
echo made
read -r go
ip link set lo up
ip addr add "$2/24" dev net0
ip link set net0 up
# pivot_root moves the old root into a folder of the new one; it is unmounted there.
mkdir run/old
pivot_root . run/old
umount -l /run/old
rmdir /run/old
# Except for the host name and the network, /proc/sys belongs to the host.
mount -o bind,ro /proc/sys /proc/sys
echo ready
exec env --ignore-signal=CHLD cat
