// The words for what happened between two readings.

import { nameOf } from './device_list.js';

// More changes of one kind than this are told as a number.
const kMostNamed = 5;

const kDetails = { product: 'product', category: 'category', board: 'board' };

function changeOf({ before, after }) {
    if (before.hostName !== after.hostName) {
        return { kind: 'changed', name: nameOf(before), text: 'is now', newName: nameOf(after) };
    }
    const details = Object.keys(kDetails).filter((name) => before[name] !== after[name]);
    const text = `has another ${details.map((name) => kDetails[name]).join(' and ')}`;
    return { kind: 'changed', name: nameOf(after), text };
}

// Of a device that came or went there is nothing else to say.
function plainChangeOf(kind) {
    return (device) => ({ kind, name: nameOf(device), text: kind });
}

function linesOf(kind, devices, lineOf) {
    return devices.length > kMostNamed
        ? [{ kind, name: `${devices.length.toLocaleString('en')} devices`, text: kind }]
        : devices.map(lineOf);
}

// One line for each change, or one for many of a kind: `kind` (came, changed, went),
// `name`, the `text` that follows it and, of a renamed device, the `newName` that ends it.
export function changeLines({ came, changed, went }) {
    return [
        ...linesOf('came', came, plainChangeOf('came')),
        ...linesOf('changed', changed, changeOf),
        ...linesOf('went', went, plainChangeOf('went')),
    ];
}

// A line as plain text.
export function plainLine({ name, text, newName }) {
    return newName === undefined ? `${name} ${text}` : `${name} ${text} ${newName}`;
}
