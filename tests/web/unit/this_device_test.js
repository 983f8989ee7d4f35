import assert from 'node:assert/strict';
import { test } from 'node:test';

import { readDeviceList } from '../../../web/discovery/device_list.js';
import { keysOfThisDevice, ownerWithoutEntry } from '../../../web/discovery/this_device.js';
import { entry, listText } from '../support/sample_list.js';

const kEntries = [entry(1, { hostName: 'Studio-A', ipAddress: '192.0.2.10' }),
    entry(2, { hostName: 'studio-b', ipAddress: '192.0.2.11' })];

function marked(host, entries = kEntries) {
    const { devices } = readDeviceList(listText(entries));
    const keys = keysOfThisDevice(devices, host);
    return devices.filter((device) => keys.has(device.key)).map((device) => device.address);
}

test('The device is identified by its address', () => {
    assert.deepEqual(marked('192.0.2.11'), ['192.0.2.11']);
    assert.deepEqual(marked('192.0.2.12'), []);
});

test('The device is identified by its name in any letter case, with or without a domain', () => {
    for (const host of ['studio-a', 'STUDIO-A', 'studio-a.local', 'studio-a.lan.example']) {
        assert.deepEqual(marked(host), ['192.0.2.10'], host);
    }
    assert.deepEqual(marked('studio-ab'), []);
    assert.deepEqual(marked('localhost'), []);
});

test('All boards of the device are marked', () => {
    const entries = [entry(1), entry(1, { boardNumber: '1' }), entry(2)];
    assert.deepEqual(marked('192.0.2.2', entries), ['192.0.2.2', '192.0.2.2']);
    assert.deepEqual(marked('control-room-1', entries), ['192.0.2.2', '192.0.2.2']);
});

test('If two devices have the name in the address bar, neither is marked', () => {
    const entries = [entry(1, { hostName: 'twin' }), entry(2, { hostName: 'twin' })];
    assert.deepEqual(marked('twin', entries), []);
});

test('A name is not compared with an address', () => {
    assert.deepEqual(marked('192.0.2.77', [entry(1, { hostName: '192' }),
        entry(2, { hostName: '192.0.2.77' })]), []);
    assert.deepEqual(marked('studio-b', [entry(1, { ipAddress: 'studio-b' })]), []);
});

test('A device without a name does not count as the one that serves the page', () => {
    assert.deepEqual(marked('', [entry(1, { hostName: '' })]), []);
});

test('A device without an entry has the name in the address bar, except a loopback name', () => {
    for (const host of ['127.0.0.1', '127.8.8.8', 'localhost', 'LocalHost', '[::1]']) {
        assert.equal(ownerWithoutEntry(host), 'this device', host);
    }
    for (const host of ['192.0.2.10', 'studio-a.local', 'localhost.example', '127.example']) {
        assert.equal(ownerWithoutEntry(host), host);
    }
});
