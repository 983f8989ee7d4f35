// Brings the children of an element into a wanted state, touching only those that have
// to move: a list of thousands costs nothing when nothing has changed.

function removeOthers(parent, wanted) {
    const kept = new Set(wanted);
    for (const child of [...parent.children]) {
        if (!kept.has(child)) {
            child.remove();
        }
    }
}

function putInOrder(parent, wanted) {
    let next = parent.firstElementChild;
    for (const node of wanted) {
        if (node === next) {
            next = node.nextElementSibling;
        } else if (next !== null && node === next.nextElementSibling) {
            // The one before it is to go further down; it moves when its turn comes.
            next = node.nextElementSibling;
        } else {
            parent.insertBefore(node, next);
        }
    }
}

// The place of the child that has the focus; -1 if none has.
function focusedPlace(parent) {
    return [...parent.children].findIndex((child) => child.contains(document.activeElement));
}

// A node that moves loses the focus in the browser, and so does one that goes. The first
// gets it back; in place of the second it goes to the nearest that is left.
function restoreFocus(parent, focused, place) {
    if (parent.contains(focused)) {
        focused.focus({ preventScroll: true });
        return;
    }
    const links = [...parent.children].slice(0, place + 1).reverse().concat([...parent.children])
        .map((child) => child.querySelector('a')).filter((link) => link !== null);
    (links[0] ?? parent.closest('main')).focus({ preventScroll: true });
}

// Makes `wanted` (an array of elements, each once) the children of `parent`, in its order.
export function arrange(parent, wanted) {
    const focused = document.activeElement;
    const place = parent.contains(focused) ? focusedPlace(parent) : -1;
    removeOthers(parent, wanted);
    putInOrder(parent, wanted);
    if (place >= 0 && document.activeElement !== focused) {
        restoreFocus(parent, focused, place);
    }
}
