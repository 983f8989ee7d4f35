// The controls that choose the order of the devices: a box and a button above the cards, and
// the headings of the table. All show the same choice.

import { kColumns } from './sort.js';

// This column begins in descending order: the newest device is first.
const kDescendingFirst = 'came';

export class SortControls {
    column = kColumns[0];
    isAscending = true;

    #onChange;
    #box = document.getElementById('sort-column');
    #direction = document.getElementById('sort-direction');
    #headings = document.querySelectorAll('th[data-column]');

    // Calls `onChange` after each change of the choice.
    constructor(onChange) {
        this.#onChange = onChange;
        this.#box.addEventListener('change', () => this.#choose(this.#box.value));
        this.#direction.addEventListener('click', () => this.#reverse());
        for (const heading of this.#headings) {
            heading.querySelector('button').addEventListener('click', () => this.#click(heading));
        }
        this.#mark();
    }

    #click(heading) {
        const { column } = heading.dataset;
        if (column === this.column) {
            this.#reverse();
        } else {
            this.#choose(column);
        }
    }

    #choose(column) {
        this.column = column;
        this.isAscending = column !== kDescendingFirst;
        this.#mark();
        this.#onChange();
    }

    #reverse() {
        this.isAscending = !this.isAscending;
        this.#mark();
        this.#onChange();
    }

    #mark() {
        const direction = this.isAscending ? 'ascending' : 'descending';
        this.#box.value = this.column;
        this.#direction.dataset.direction = direction;
        this.#direction.setAttribute('aria-label', `Order: ${direction}`);
        this.#direction.title = `Order: ${direction}`;
        for (const heading of this.#headings) {
            if (heading.dataset.column === this.column) {
                heading.setAttribute('aria-sort', direction);
            } else {
                heading.removeAttribute('aria-sort');
            }
        }
    }
}
