// The two views of the devices: cards and rows. Each keeps one element for each device, and
// replaces its content only if it differs.

import { arrange } from './arrange.js';
import { detail, nameLink, networkText, thisBadge, timeElement } from './device_parts.js';
import { element } from './element.js';

function cameElement(row) {
    return row.came === undefined ? '' : timeElement(row.came, row.cameText);
}

function line(name, text) {
    return text === '' ? [] : [element('p', name, networkText(text))];
}

function cardContent(row) {
    const { device } = row;
    const heading = element('h3', '', nameLink(device), ...thisBadge(row));
    if (row.came !== undefined) {
        const look = row.isNew ? 'badge new' : 'badge came';
        heading.append(element('span', look, 'first seen ', cameElement(row)));
    }
    return [heading, ...line('product', device.product), ...line('category', device.category),
        element('p', 'address', detail(device.address))];
}

function rowContent(row) {
    const { device } = row;
    const name = element('th', '', nameLink(device), ...thisBadge(row));
    name.scope = 'row';
    if (row.isNew) {
        name.append(element('span', 'badge new', 'new'));
    }
    const cells = [device.address, device.product, device.category, device.board]
        .map((text) => element('td', '', detail(text)));
    return [name, ...cells, element('td', '', cameElement(row))];
}

const kViews = {
    cards: { elementName: 'li', content: cardContent },
    rows: { elementName: 'tr', content: rowContent },
};

function isShownAs(a, b) {
    return a.device === b.device && a.isThis === b.isThis && a.isNew === b.isNew &&
        a.came === b.came && a.cameText === b.cameText;
}

// Replaces the content of an element. The focus stays on the device's link.
function fill(target, content) {
    const hadFocus = target.contains(document.activeElement);
    target.replaceChildren(...content);
    if (hadFocus) {
        (target.querySelector('a') ?? target.closest('main')).focus({ preventScroll: true });
    }
}

export class DeviceView {
    #parent;
    #view;
    #made = new Map(); // by key: the element, and the row that it shows

    // `name` is 'cards' or 'rows'; `parent` is a list for cards, and a table's body for rows.
    constructor(parent, name) {
        this.#parent = parent;
        this.#view = kViews[name];
    }

    // Shows the rows in their order. `isListed(key)` is whether the device is in the list: the
    // elements of devices that are only filtered out are kept.
    show(rows, isListed) {
        for (const key of this.#made.keys()) {
            if (!isListed(key)) {
                this.#made.delete(key);
            }
        }
        arrange(this.#parent, rows.map((row) => this.#elementFor(row)));
    }

    clear() {
        this.#made.clear();
        this.#parent.replaceChildren();
    }

    #elementFor(row) {
        const { key } = row.device;
        const made = this.#made.get(key) ?? { target: element(this.#view.elementName) };
        if (made.row === undefined || !isShownAs(made.row, row)) {
            fill(made.target, this.#view.content(row));
            made.target.classList.toggle('new', row.isNew);
            made.target.classList.toggle('this', row.isThis);
            made.row = row;
            this.#made.set(key, made);
        }
        return made.target;
    }
}
