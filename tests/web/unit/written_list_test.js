// A list that a real daemon wrote. The lists of the other tests have the same form.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { readDeviceList } from '../../../web/discovery/device_list.js';
import { entry, kWritten, listText } from '../support/sample_list.js';

const kKeys = ['serviceDescription', 'serviceType', 'serviceDomain', 'hostName', 'ipAddress',
    'port', 'deviceName', 'description', 'boardType', 'boardNumber', 'boardID'];

test('The written list has the keys of the format, in their order, on one line', () => {
    const entries = JSON.parse(kWritten);
    assert.equal(entries.length, 3);
    for (const each of entries) {
        assert.deepEqual(Object.keys(each), kKeys);
        for (const key of kKeys) {
            assert.equal(typeof each[key], key === 'port' ? 'number' : 'string');
        }
    }
    assert.equal(JSON.stringify(entries), kWritten);
});

test('The lists of these tests have the form of the written one', () => {
    const [written] = JSON.parse(kWritten);
    assert.equal(listText([entry(0, { hostName: 'studio-a', ipAddress: '192.0.2.10' })]),
        `[${JSON.stringify(written)}]`);
});

test('The written list is read without a remark', () => {
    const { devices, remark } = readDeviceList(kWritten);
    assert.equal(remark, '');
    assert.deepEqual(devices.map(({ hostName, product, category, address, board, page }) =>
        [hostName, product, category, address, board, page]), [
        ['studio-a', 'Corvia 12', 'HD recorder', '192.0.2.10', '0x10650001',
            'http://192.0.2.10:80/'],
        ['studio-b', 'Lumen Plus', '4K encoder', '192.0.2.11', '0x10660002',
            'http://192.0.2.11:80/'],
        ['studio-c', 'TalonMx', 'Multichannel streamer', '192.0.2.12', '0x10670001',
            'http://192.0.2.12:80/'],
    ]);
});
