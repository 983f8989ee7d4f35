// The lines that describe the changes between two readings.

import { nameOf } from './device_list.js';

// If there are more changes of one kind, only their number is shown.
const kMostNamed = 5;

const kDetails = ['product', 'category', 'board'];

function changeOf({ before, after }) {
    if (before.hostName !== after.hostName) {
        return { kind: 'changed', name: nameOf(before), text: 'is now', newName: nameOf(after) };
    }
    const details = kDetails.filter((name) => before[name] !== after[name]);
    return { kind: 'changed', name: nameOf(after), text: `has another ${details.join(' and ')}` };
}

function arrivalOf(device, formerly) {
    const before = formerly.get(device.key);
    return before && before.hostName !== device.hostName
        ? { kind: 'came', name: nameOf(before), text: 'came back as', newName: nameOf(device) }
        : { kind: 'came', name: nameOf(device), text: 'came' };
}

function departureOf(device) {
    return { kind: 'went', name: nameOf(device), text: 'went' };
}

function linesOf(kind, devices, lineOf) {
    return devices.length > kMostNamed
        ? [{ kind, name: `${devices.length.toLocaleString('en')} devices`, text: kind }]
        : devices.map(lineOf);
}

// One line for each change, or one for many changes of a kind. A line has `kind` (came,
// changed, went), `name`, the `text` after the name, and, for a renamed device, `newName`
// after the text. `formerly` has, by key, the former state of devices that returned.
export function changeLines({ came, changed, went, formerly = new Map() }) {
    return [
        ...linesOf('came', came, (device) => arrivalOf(device, formerly)),
        ...linesOf('changed', changed, changeOf),
        ...linesOf('went', went, departureOf),
    ];
}

// A line as plain text.
export function plainLine({ name, text, newName }) {
    return newName === undefined ? `${name} ${text}` : `${name} ${text} ${newName}`;
}
