import assert from 'node:assert/strict';
import { test } from 'node:test';

import { readDeviceList } from '../../../web/discovery/device_list.js';
import { kColumns, sorted } from '../../../web/discovery/sort.js';
import { entry, listText } from '../support/sample_list.js';

const rowsOf = (entries) => readDeviceList(listText(entries)).devices.map((device) => ({ device }));

function order(field, values, column, isAscending = true) {
    const rows = rowsOf(values.map((value, index) => entry(index, { [field]: value })));
    return sorted(rows, column, isAscending).map((row) => row.device[column]);
}

test('Names are sorted without regard to case, and numbers by their value', () => {
    assert.deepEqual(order('hostName', ['studio-10', 'Studio-2', 'archive', 'Éva', 'studio-1'],
        'hostName'), ['archive', 'Éva', 'studio-1', 'Studio-2', 'studio-10']);
});

test('Addresses are in the order of their numbers', () => {
    assert.deepEqual(order('ipAddress', ['192.0.2.10', '192.0.2.9', '10.0.0.1'], 'address'),
        ['10.0.0.1', '192.0.2.9', '192.0.2.10']);
});

test('Devices are in the order of their arrival', () => {
    const rows = rowsOf([entry(1), entry(2), entry(3)]);
    rows[0].came = 300;
    rows[2].came = 200;
    assert.deepEqual(sorted(rows, 'came', true), [rows[2], rows[0], rows[1]]);
    assert.deepEqual(sorted(rows, 'came', false), [rows[0], rows[2], rows[1]]);
});

test('The device that serves the page comes first, in every column and in both directions', () => {
    const rows = rowsOf([entry(9), entry(1), entry(3, { hostName: '' })]);
    for (const [index, column] of kColumns.entries()) {
        for (const isAscending of [true, false]) {
            const own = rows[index % rows.length];
            const marked = rows.map((row) => ({ ...row, isThis: row === own }));
            assert.equal(sorted(marked, column, isAscending)[0].device, own.device);
        }
    }
});

test('The descending order is the reverse', () => {
    assert.deepEqual(order('hostName', ['a', 'c', 'b'], 'hostName', false), ['c', 'b', 'a']);
});

test('Devices without a value in the column are last in both directions', () => {
    for (const isAscending of [true, false]) {
        assert.equal(order('hostName', ['b', '', 'a'], 'hostName', isAscending)[2], '');
        assert.equal(order('ipAddress', ['1.2.3.4', 'none', '1.2.3.5'], 'address', isAscending)[2],
            'none');
    }
});

test('The order does not depend on the order of the list, in any column', () => {
    const rows = rowsOf([entry(1), entry(9), entry(17), entry(1, { ipAddress: 'none' }),
        entry(1, { ipAddress: '' }), entry(3, { hostName: '' }), entry(3, { boardNumber: '1' })]);
    for (const column of kColumns) {
        for (const isAscending of [true, false]) {
            assert.deepEqual(sorted([...rows].reverse(), column, isAscending),
                sorted(rows, column, isAscending));
        }
    }
});

test('The given rows are not changed', () => {
    const rows = rowsOf([entry(2), entry(1)]);
    const before = [...rows];
    sorted(rows, 'address', true);
    assert.deepEqual(rows, before);
});
