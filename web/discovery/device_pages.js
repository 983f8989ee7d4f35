// Where the pages of the devices are. The demonstration serves another version of this file,
// because its virtual devices share one port.

import { isAddress } from './address.js';

// The start page of the device at an address; '' if the address is not a dotted quad.
export function pageOf(address) {
    return isAddress(address) ? `http://${address}:80/` : '';
}

// The address or name of the device that serves this page, as in the address bar.
export function hostOfThisPage() {
    return location.hostname;
}
