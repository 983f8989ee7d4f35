# A machine with a root of its own: $3 is a clean root, which stays as it is, for
# all that is written goes to memory. $1: its name, $2: its address, $4: the
# folder that holds the packages, on /mnt here.
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
# The old root ends up below the new one's folder for it, and goes from there.
mkdir run/old
pivot_root . run/old
umount -l /run/old
rmdir /run/old
# Nothing but the host name and the network is this machine's own here.
mount -o bind,ro /proc/sys /proc/sys
echo ready
exec env --ignore-signal=CHLD cat
