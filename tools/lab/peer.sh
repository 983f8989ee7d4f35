# A node with a network and no running programs. $1: its address.
set -e
mount --make-rprivate /
mount -t tmpfs -o mode=755 tmpfs /run
mkdir /run/lab
echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6
echo 1 >/proc/sys/net/ipv6/conf/default/disable_ipv6
echo made
read -r go
ip link set lo up
ip addr add "$1/24" dev net0
ip link set net0 up
# Programs of other projects need a route for datagrams to the SSDP group.
ip route add 239.0.0.0/8 dev net0
echo ready
exec env --ignore-signal=CHLD cat
