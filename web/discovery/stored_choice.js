// A choice that is kept when the page is closed, if the browser allows it: restricted browsers
// have no storage. Every page of the device may write to the storage, so a value may be invalid.

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
        // Then the choice is lost when the page is closed.
    }
}
