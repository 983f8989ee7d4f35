// The difference between two readings of the list.

const kShown = ['hostName', 'product', 'category', 'board'];

// Whether two readings of a device (with the same key) are shown alike.
export function isSame(a, b) {
    return kShown.every((name) => a[name] === b[name]);
}

// Compares two arrays of devices by key: the devices that came, those that went, and
// those that changed, as pairs of before and after.
export function differenceOf(before, after) {
    const earlier = new Map(before.map((device) => [device.key, device]));
    const difference = { came: [], went: [], changed: [] };
    for (const device of after) {
        const known = earlier.get(device.key);
        earlier.delete(device.key);
        if (!known) {
            difference.came.push(device);
        } else if (!isSame(known, device)) {
            difference.changed.push({ before: known, after: device });
        }
    }
    difference.went = [...earlier.values()];
    return difference;
}
