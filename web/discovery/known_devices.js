// The devices that the page knows: those of the last list that could be read, and when each
// came to the list. Time is an argument everywhere.

import { differenceOf, isSame } from './list_difference.js';

// How long a device is shown as new.
export const kNewForMs = 60000;
// How long a device is remembered after it left the list. A device that is renamed leaves the
// list with a goodbye, and returns when its new description has been read.
export const kRememberedForMs = 120000;
const kMostRemembered = 1000;

export class KnownDevices {
    // The devices of the last reading, in the list's order; null before the first. A device
    // that has not changed is the same object in every reading.
    devices = null;

    #came = new Map();
    #gone = new Map(); // by key, the oldest first: the device, and when it went

    // Takes the devices of a reading. Returns the difference from the previous reading (see
    // differenceOf), and in `formerly`, by key, the former state of devices that returned.
    // Returns null for the first reading: it is not known when its devices came.
    take(devices, now) {
        const difference = this.devices && differenceOf(this.devices, devices);
        if (difference !== null) {
            this.#forget(now);
            difference.formerly = this.#note(difference, now);
        }
        const earlier = new Map(this.devices?.map((device) => [device.key, device]));
        this.devices = devices.map((device) => {
            const known = earlier.get(device.key);
            return known && isSame(known, device) ? known : device;
        });
        return difference;
    }

    #forget(now) {
        for (const [key, { at }] of this.#gone) {
            if (now - at < kRememberedForMs && this.#gone.size <= kMostRemembered) {
                return;
            }
            this.#gone.delete(key);
        }
    }

    #note({ came, went }, now) {
        const formerly = new Map();
        for (const { key } of came) {
            this.#came.set(key, now);
            if (this.#gone.has(key)) {
                formerly.set(key, this.#gone.get(key).device);
                this.#gone.delete(key);
            }
        }
        for (const device of went) {
            this.#came.delete(device.key);
            this.#gone.set(device.key, { device, at: now });
        }
        return formerly;
    }

    // The moment at which the device came to the list, or returned to it; undefined if it is not
    // in the list, or was in every list so far.
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
