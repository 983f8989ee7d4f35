// The elements that a card and a row of a device have in common.

import { nameOf } from './device_list.js';
import { element } from './element.js';

// The layout may cut longer texts. The tool tip has the whole text.
const kLongText = 30;

// A text from the network. Its writing direction does not affect the text around it.
export function networkText(text) {
    const part = element('bdi', '', text);
    if (text.length > kLongText) {
        part.title = text;
    }
    return part;
}

export function nothing() {
    const dash = element('span', 'nothing', '\u2013');
    dash.setAttribute('aria-label', 'not known');
    dash.setAttribute('role', 'img');
    return dash;
}

export function detail(text) {
    return text === '' ? nothing() : networkText(text);
}

// The name: a link to the device's own page if the device has a valid address.
export function nameLink(device) {
    const name = networkText(nameOf(device));
    if (device.page === '') {
        return element('span', 'name', name);
    }
    const link = element('a', 'name', name);
    link.href = device.page;
    return link;
}

export function thisBadge(row) {
    return row.isThis ? [element('span', 'badge this', 'this device')] : [];
}

export function timeElement(moment, text) {
    const time = element('time', '', text);
    time.dateTime = new Date(moment).toISOString();
    return time;
}
