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

function comingOf(device, formerly) {
    const before = formerly.get(device.key);
    return before && before.hostName !== device.hostName
        ? { kind: 'came', name: nameOf(before), text: 'came back as', newName: nameOf(device) }
        : { kind: 'came', name: nameOf(device), text: 'came' };
}

function goingOf(device) {
    return { kind: 'went', name: nameOf(device), text: 'went' };
}

function linesOf(kind, devices, lineOf) {
    return devices.length > kMostNamed
        ? [{ kind, name: `${devices.length.toLocaleString('en')} devices`, text: kind }]
        : devices.map(lineOf);
}

// One line for each change, or one for many of a kind: `kind` (came, changed, went),
// `name`, the `text` that follows it and, of a renamed device, the `newName` that ends it.
// `formerly` has the devices, by key, as those that came back were.
export function changeLines({ came, changed, went, formerly = new Map() }) {
    return [
        ...linesOf('came', came, (device) => comingOf(device, formerly)),
        ...linesOf('changed', changed, changeOf),
        ...linesOf('went', went, goingOf),
    ];
}

// A line as plain text.
export function plainLine({ name, text, newName }) {
    return newName === undefined ? `${name} ${text}` : `${name} ${text} ${newName}`;
}
