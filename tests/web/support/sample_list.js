// Lists in the form that the daemon writes.

import { readFileSync } from 'node:fs';

// A list that a daemon with two neighbours wrote.
export const kWritten = readFileSync(new URL('../fixtures/browse.json', import.meta.url), 'utf8');

const kProducts = [
    ['Corvia 12', 'HD recorder', '0x10650001'], ['Corvia 12 Plus', 'HD recorder', '0x10650002'],
    ['Lumen', '4K encoder', '0x10660001'], ['Lumen Plus', '4K encoder', '0x10660002'],
    ['TalonMx', 'Multichannel streamer', '0x10670001'],
    ['TalonVt', 'Multichannel streamer', '0x10670002'],
    ['ZR1', 'Field recorder', '0x10680001'], ['ZR2', 'Field recorder', '0x10680002'],
];
const kPlaces = ['studio', 'control-room', 'ob-van', 'stage-left', 'newsroom', 'archive'];

// The entry of a device. Different numbers give different devices; `changes` replaces fields.
export function entry(number, changes = {}) {
    const [product, category, board] = kProducts[number % kProducts.length];
    return {
        serviceDescription: product,
        serviceType: '_http._tcp',
        serviceDomain: 'local',
        hostName: `${kPlaces[number % kPlaces.length]}-${number}`,
        ipAddress: `192.0.${2 + Math.floor(number / 250)}.${1 + number % 250}`,
        port: 80,
        deviceName: product,
        description: category,
        boardType: product,
        boardNumber: '0',
        boardID: board,
        ...changes,
    };
}

export function entries(count) {
    return Array.from({ length: count }, (_, index) => entry(index + 1));
}

// A list of a number of devices, or of the given entries.
export function listText(devices) {
    return JSON.stringify(typeof devices === 'number' ? entries(devices) : devices);
}
