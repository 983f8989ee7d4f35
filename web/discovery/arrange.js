// Sets the children of an element and their order. Moves only the elements that are not at their
// place yet, so a long list without a change costs little.

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
            // The element before `node` belongs further down, and is moved later.
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

// A node that is moved or removed loses the focus. A moved node gets it back. If the node was
// removed, the link that is now at its place gets the focus, or else the nearest one before, the
// first one, or <main>.
function restoreFocus(parent, focused, place) {
    if (parent.contains(focused)) {
        focused.focus({ preventScroll: true });
        return;
    }
    const links = [...parent.children].slice(0, place + 1).reverse().concat([...parent.children])
        .map((child) => child.querySelector('a')).filter((link) => link !== null);
    (links[0] ?? parent.closest('main')).focus({ preventScroll: true });
}

// Makes `wanted`, an array of different elements, the children of `parent`, in this order.
export function arrange(parent, wanted) {
    const focused = document.activeElement;
    const place = parent.contains(focused) ? focusedPlace(parent) : -1;
    removeOthers(parent, wanted);
    putInOrder(parent, wanted);
    if (place >= 0 && document.activeElement !== focused) {
        restoreFocus(parent, focused, place);
    }
}
