// What the page knows: the devices of the last list that could be read, and when each
// came. Time is an argument everywhere.

import { differenceOf, isSame } from './list_difference.js';

// For so long a device that came is shown as new.
export const kNewForMs = 60000;
// For so long one that went is known again by another name: a device says goodbye to be
// renamed, and is back when its new description has been read.
export const kRememberedForMs = 120000;
const kMostRemembered = 1000;

export class KnownDevices {
    // The devices of the last reading, in the list's order; null before the first. One that
    // has not changed is the same object in every reading.
    devices = null;

    #came = new Map();
    #gone = new Map(); // by key, the oldest first: the device, and when it went

    // Takes the devices of a reading. Returns what has happened since the reading before,
    // with the devices in `formerly` as that came back were; null for the first: when those
    // came is not known.
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
