// A choice that outlives the page, where the browser lets it: private windows and locked
// down browsers have no storage, and every page of the device may write to it.

export function storedChoice(name, allowed, otherwise) {
    try {
        const stored = localStorage.getItem(name);
        return allowed.includes(stored) ? stored : otherwise;
    } catch {
        return otherwise;
    }
}

export function storeChoice(name, value) {
    try {
        localStorage.setItem(name, value);
    } catch {
        // It holds until the page is closed, then.
    }
}
