// Which of the devices served this page.

import { isAddress } from './address.js';

function isNamed(device, host) {
    const name = device.hostName.toLowerCase();
    // Name services add their domain: studio-a.local.
    return name !== '' && (host === name || host.startsWith(`${name}.`));
}

// The keys of the entries of the device whose address or name the browser has in its
// address bar. Two devices of one name cannot be told apart by it: then none is marked.
export function keysOfThisDevice(devices, hostInAddressBar) {
    const host = hostInAddressBar.toLowerCase();
    const isOwn = isAddress(host)
        ? (device) => device.address === host
        : (device) => isNamed(device, host);
    const own = devices.filter(isOwn);
    const addresses = new Set(own.map((device) => device.address));
    return new Set(addresses.size === 1 ? own.map((device) => device.key) : []);
}

// What to call the device that served this page when no entry is known to be its own. One
// that shows the page on a screen of its own asks itself, and not by a name that says much.
export function ownerWithoutEntry(hostInAddressBar) {
    return /^(127\.[\d.]+|localhost|\[::1\])$/i.test(hostInAddressBar)
        ? 'this device' : hostInAddressBar;
}
