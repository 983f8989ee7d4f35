// Where the pages of the virtual devices are: all on one port, each device in a folder that is
// named by its address. Served in place of web/discovery/device_pages.js.

import { isAddress } from './address.js';

export function pageOf(address) {
    return isAddress(address) ? `/${address}/` : '';
}

export function hostOfThisPage() {
    return location.pathname.split('/')[1];
}
