// The order of the rows. A row has the data of one device: `device`; `came`, the moment
// (ms since 1970) at which it came to the list, or returned to it, absent if it was in every list
// so far; and `isThis`, true for the device that serves this page.

import { addressNumber } from './address.js';

export const kColumns = ['hostName', 'product', 'category', 'address', 'board', 'came'];

// Numbers in names count as numbers: studio-2 before studio-10.
const kCollator = new Intl.Collator('en', { numeric: true, sensitivity: 'base' });

const kNumberOf = {
    address: (row) => addressNumber(row.device.address),
    came: (row) => row.came ?? NaN,
};

function compareNumbers(a, b) {
    return a - b;
}

function placeOf(row) {
    const number = addressNumber(row.device.address);
    return Number.isNaN(number) ? 2 ** 32 : number;
}

function comparerOf(column) {
    const number = kNumberOf[column];
    return number
        ? { value: number, isMissing: Number.isNaN, compare: compareNumbers }
        : {
            value: (row) => row.device[column],
            isMissing: (text) => text === '',
            compare: kCollator.compare,
        };
}

// The rows in the order of a column. In both directions, the device that serves this page is
// first, and rows without a value in the column are last. Equal rows are in the order of their
// addresses, then of their keys, so the order does not depend on that of the list.
export function sorted(rows, column, isAscending) {
    const { value, isMissing, compare } = comparerOf(column);
    const sign = isAscending ? 1 : -1;
    const keyed = rows.map((row) => ({ row, value: value(row), address: placeOf(row) }));
    keyed.sort((a, b) => Boolean(b.row.isThis) - Boolean(a.row.isThis) ||
        isMissing(a.value) - isMissing(b.value) ||
        (isMissing(a.value) ? 0 : sign * compare(a.value, b.value)) ||
        compareNumbers(a.address, b.address) || (a.row.device.key < b.row.device.key ? -1 : 1));
    return keyed.map(({ row }) => row);
}
