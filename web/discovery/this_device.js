// Finds the device that serves this page in the list.

import { isAddress } from './address.js';

function isNamed(device, host) {
    const name = device.hostName.toLowerCase();
    // Name services add their domain: studio-a.local.
    return name !== '' && (host === name || host.startsWith(`${name}.`));
}

// The keys of the entries of the device whose address or name is in the browser's address bar.
// No keys if several devices have this name.
export function keysOfThisDevice(devices, hostInAddressBar) {
    const host = hostInAddressBar.toLowerCase();
    const isOwn = isAddress(host)
        ? (device) => device.address === host
        : (device) => isNamed(device, host);
    const own = devices.filter(isOwn);
    const addresses = new Set(own.map((device) => device.address));
    return new Set(addresses.size === 1 ? own.map((device) => device.key) : []);
}

// The name for the device that serves this page if no entry is known to be its own. A device
// that shows the page on its own screen uses a loopback address, which is not a useful name.
export function ownerWithoutEntry(hostInAddressBar) {
    return /^(127\.[\d.]+|localhost|\[::1\])$/i.test(hostInAddressBar)
        ? 'this device' : hostInAddressBar;
}
