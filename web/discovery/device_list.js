// Reads the browse list, browse.json: a JSON array with one object for each device. The
// daemon writes it, but with what other machines said, on a medium that may be full.

import { pageOf } from './device_pages.js';
import { folded } from './filter.js';
import { shownText } from './shown_text.js';

// What one page can still show; no network of one daemon has as many.
export const kMostDevices = 5000;

const kFields = ['serviceDescription', 'hostName', 'ipAddress', 'deviceName', 'description',
    'boardNumber', 'boardID'];

// A device has mostly one board, number 0, which is not worth a word.
function boardText(boardID, boardNumber) {
    return ['', '0'].includes(boardNumber) ? boardID : `${boardID} no. ${boardNumber}`.trim();
}

// One entry of the list. `key` tells it from the others and stays while it is the same
// service: it is made of what the daemon itself tells services by.
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

function withKeysOfTheirOwn(devices) {
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

// Reads the list's text. Returns `devices`, and in `remark` one line on what of it could
// not be used ('' if all could); or, if it is no list at all, `fault` with one line.
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
        devices: withKeysOfTheirOwn(shown.map(deviceOf)),
        remark: remarkOn(entries, readable, shown),
    };
}

// What to call a device in a sentence.
export function nameOf(device) {
    return device.hostName || device.address || device.product || 'a device without a name';
}
