// Reads the browse list, browse.json: a JSON array with one object for each device. Its values
// come from other machines. It may be incomplete, for instance because the disk is full.

import { pageOf } from './device_pages.js';
import { folded } from './filter.js';
import { shownText } from './shown_text.js';

// The number of devices that a page can show. The daemon lists fewer.
export const kMostDevices = 5000;

const kFields = ['serviceDescription', 'hostName', 'ipAddress', 'deviceName', 'description',
    'boardNumber', 'boardID'];

// Most devices have only board number 0; this number is not shown.
function boardText(boardID, boardNumber) {
    return ['', '0'].includes(boardNumber) ? boardID : `${boardID} no. ${boardNumber}`.trim();
}

// The device of an entry. Its `key` identifies the service as long as the service exists: the key
// consists of the fields by which the daemon identifies services.
function deviceOf(entry) {
    const text = Object.fromEntries(kFields.map((name) => [name, shownText(entry[name])]));
    const device = {
        key: [text.serviceDescription, text.ipAddress, text.boardNumber].join('\n'),
        hostName: text.hostName,
        product: text.deviceName || text.serviceDescription,
        category: text.description,
        address: text.ipAddress,
        board: boardText(text.boardID, text.boardNumber),
        page: pageOf(text.ipAddress),
    };
    device.searched = folded([device.hostName, device.product, device.category, device.address,
        device.board].join('\n'));
    return device;
}

function isReadable(entry) {
    return typeof entry === 'object' && entry !== null &&
        kFields.some((name) => shownText(entry[name]) !== '');
}

function isDamaged(entry) {
    return kFields.some((name) => typeof entry[name] !== 'string');
}

function withUniqueKeys(devices) {
    const times = new Map();
    for (const device of devices) {
        const count = (times.get(device.key) ?? 0) + 1;
        times.set(device.key, count);
        if (count > 1) {
            device.key += `\n${count}`;
        }
    }
    return devices;
}

function counted(number, one, many) {
    return `${number.toLocaleString('en')} ${number === 1 ? one : many}`;
}

function remarkOn(entries, readable, shown) {
    const left = entries.length - readable.length;
    const damaged = shown.filter(isDamaged).length;
    const remarks = [];
    if (left > 0) {
        remarks.push(`${counted(left, 'entry', 'entries')} of the list cannot be read and ` +
            `${left === 1 ? 'is' : 'are'} left out`);
    }
    if (damaged > 0) {
        remarks.push(`${counted(damaged, 'device lacks', 'devices lack')} some of the details`);
    }
    if (readable.length > shown.length) {
        remarks.push(`the list names ${counted(readable.length, 'device', 'devices')}, ` +
            `the first ${shown.length.toLocaleString('en')} are shown`);
    }
    const line = remarks.join('; ');
    return line && `${line[0].toUpperCase()}${line.slice(1)}.`;
}

function faultOf(text) {
    const trimmed = text.trim();
    if (trimmed === '') {
        return 'The device list is an empty file.';
    }
    if (trimmed.startsWith('<')) {
        return 'The server sent a web page in place of the device list.';
    }
    if (trimmed.startsWith('[') && !trimmed.endsWith(']')) {
        return `The device list breaks off after ${counted(text.length, 'character',
            'characters')}.`;
    }
    return 'The device list is not valid JSON.';
}

// Reads the list's text. Returns `devices` and `remark`, one line about entries that are left
// out or incomplete ('' if there are none). If the text is not a list, returns `fault`, one line.
export function readDeviceList(text) {
    let entries;
    try {
        entries = JSON.parse(text);
    } catch {
        return { fault: faultOf(text) };
    }
    if (!Array.isArray(entries)) {
        return { fault: 'The device list is not a JSON array.' };
    }
    const readable = entries.filter(isReadable);
    const shown = readable.slice(0, kMostDevices);
    return {
        devices: withUniqueKeys(shown.map(deviceOf)),
        remark: remarkOn(entries, readable, shown),
    };
}

// The name of a device for sentences.
export function nameOf(device) {
    return device.hostName || device.address || device.product || 'a device without a name';
}
