# Sets a device up: private folders, the network, and the files that its services read.
# $1: its name, $2: its address, $3: the folder of the programs under test.
set -e
mount --make-rprivate /
# First, because the mounts below may cover $3.
mount --bind "$3" /mnt
mount -t sysfs sysfs /sys
mount -t tmpfs -o mode=755 tmpfs /var
mount -t tmpfs -o mode=755 tmpfs /run
mount -t tmpfs -o mode=1777 tmpfs /tmp
mount -t tmpfs -o mode=755 tmpfs /etc/avahi
mkdir -p /var/www/html /var/www/discovery /var/lib/beacon-configd
mkdir -p /run/lab /run/dbus /run/avahi-daemon /etc/avahi/services
echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6
echo 1 >/proc/sys/net/ipv6/conf/default/disable_ipv6

# Everything is allowed: only this device's processes can reach the bus.
cat >/run/lab/bus.conf <<'END'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/> <allow own="*"/>
    <allow send_type="method_call"/> <allow send_type="method_return"/>
    <allow send_type="signal"/> <allow send_type="error"/>
    <allow receive_type="method_call"/> <allow receive_type="method_return"/>
    <allow receive_type="signal"/> <allow receive_type="error"/>
  </policy>
</busconfig>
END
cat >/etc/avahi/avahi-daemon.conf <<END
[server]
host-name=$1
use-ipv4=yes
use-ipv6=no
allow-interfaces=net0
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
publish-aaaa-on-ipv4=no
END

echo made
read -r go
ip link set lo up
ip addr add "$2/24" dev net0
ip link set net0 up
# A second address stays when the first is removed: see Device.change_address.
echo 1 >/proc/sys/net/ipv4/conf/net0/promote_secondaries
echo ready
# From now on process 1 only waits. With CHLD ignored, the kernel reaps its children.
exec env --ignore-signal=CHLD cat
