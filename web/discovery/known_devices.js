// What the page knows: the devices of the last list that could be read, and when each
// came. Time is an argument everywhere.

import { differenceOf, isSame } from './list_difference.js';

// For so long a device that came is shown as new.
export const kNewForMs = 60000;

export class KnownDevices {
    // The devices of the last reading, in the list's order; null before the first. One that
    // has not changed is the same object in every reading.
    devices = null;

    #came = new Map();

    // Takes the devices of a reading. Returns what has happened since the reading before;
    // null for the first: when those came is not known.
    take(devices, now) {
        const difference = this.devices && differenceOf(this.devices, devices);
        difference?.came.forEach((device) => this.#came.set(device.key, now));
        difference?.went.forEach((device) => this.#came.delete(device.key));
        const earlier = new Map(this.devices?.map((device) => [device.key, device]));
        this.devices = devices.map((device) => {
            const known = earlier.get(device.key);
            return known && isSame(known, device) ? known : device;
        });
        return difference;
    }

    // The moment at which the device came; undefined if it was there from the start.
    cameAt(key) {
        return this.#came.get(key);
    }

    isNew(key, now) {
        return now - this.#came.get(key) < kNewForMs;
    }

    countNew(now) {
        return [...this.#came.keys()].filter((key) => this.isNew(key, now)).length;
    }
}
