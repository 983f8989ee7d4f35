import assert from 'node:assert/strict';
import { test } from 'node:test';

import { kMostDevices, nameOf, readDeviceList } from '../../../web/discovery/device_list.js';
import { entry, listText } from '../support/sample_list.js';

const read = (...entries) => readDeviceList(listText(entries));

test('A device has its name, product, category, address, board and page', () => {
    const { devices, remark } = read(entry(1, { hostName: 'studio-a' }));
    assert.equal(remark, '');
    assert.deepEqual(devices, [{
        key: 'Corvia 12 Plus\n192.0.2.2\n0',
        hostName: 'studio-a',
        product: 'Corvia 12 Plus',
        category: 'HD recorder',
        address: '192.0.2.2',
        board: '0x10650002',
        page: 'http://192.0.2.2:80/',
        searched: 'studio-a\ncorvia 12 plus\nhd recorder\n192.0.2.2\n0x10650002',
    }]);
});

test('An empty list is a list of no devices', () => {
    assert.deepEqual(readDeviceList('[]'), { devices: [], remark: '' });
    assert.deepEqual(readDeviceList(' [ ]\n'), { devices: [], remark: '' });
});

test('A board that is not the first of its device has its number', () => {
    assert.equal(read(entry(1, { boardNumber: '2' })).devices[0].board, '0x10650002 no. 2');
    assert.equal(read(entry(1, { boardNumber: '' })).devices[0].board, '0x10650002');
    assert.equal(read(entry(1, { boardNumber: '2', boardID: '' })).devices[0].board, 'no. 2');
});

test('A device without a model shows its service as its product', () => {
    assert.equal(read(entry(1, { deviceName: '' })).devices[0].product, 'Corvia 12 Plus');
});

test('Only the service description, address and board number of an entry make its key', () => {
    const before = read(entry(1)).devices[0];
    const changes = { hostName: 'new', description: 'new', boardID: '0x1' };
    const after = read(entry(1, changes)).devices[0];
    assert.equal(before.key, after.key);
    for (const change of [{ ipAddress: '192.0.2.200' }, { boardNumber: '1' },
        { serviceDescription: 'Lumen' }]) {
        assert.notEqual(read(entry(1, change)).devices[0].key, before.key);
    }
});

test('Identical entries have different keys', () => {
    const { devices } = read(entry(1), entry(1), entry(1));
    assert.equal(new Set(devices.map((device) => device.key)).size, 3);
});

test('Entries that are not devices are left out and counted', () => {
    const { devices, remark } = read(entry(1), 5, null, 'text', [], {}, true, { hostName: 7 });
    assert.equal(devices.length, 1);
    assert.equal(remark, '7 entries of the list cannot be read and are left out.');
    assert.equal(read(entry(1), null).remark,
        '1 entry of the list cannot be read and is left out.');
});

test('Values of the wrong type are missing, and counted by device', () => {
    const { devices, remark } = read(entry(1, { hostName: 5, ipAddress: ['192.0.2.1'] }), entry(2));
    assert.equal(devices[0].hostName, '');
    assert.equal(devices[0].page, '');
    assert.equal(remark, '1 device lacks some of the details.');
    assert.equal(read({ hostName: 'a' }, { hostName: 'b' }).remark,
        '2 devices lack some of the details.');
});

test('Names of JavaScript properties in the list have no effect', () => {
    const { devices } = readDeviceList('[{"__proto__":{"hostName":"a"},"constructor":1,' +
        '"description":"recorder"}]');
    assert.equal(devices[0].hostName, '');
    assert.equal({}.hostName, undefined);
});

test('If a list has too many devices, the first ones are shown', () => {
    const { devices, remark } = readDeviceList(listText(kMostDevices + 1));
    assert.equal(devices.length, kMostDevices);
    assert.equal(remark, 'The list names 5,001 devices, the first 5,000 are shown.');
});

test('Several remarks are joined into one line', () => {
    const { remark } = readDeviceList(listText([null, ...new Array(kMostDevices + 1).fill({
        hostName: 'a',
    })]));
    assert.equal(remark, '1 entry of the list cannot be read and is left out; 5,000 devices lack ' +
        'some of the details; the list names 5,001 devices, the first 5,000 are shown.');
});

test('Anything but a list is reported in one line', () => {
    const faults = [
        ['', 'The device list is an empty file.'],
        [' \n', 'The device list is an empty file.'],
        ['<!DOCTYPE html>', 'The server sent a web page in place of the device list.'],
        ['[{"hostName":"stu', 'The device list breaks off after 17 characters.'],
        ['[', 'The device list breaks off after 1 character.'],
        ['[{]', 'The device list is not valid JSON.'],
        ['nonsense', 'The device list is not valid JSON.'],
        ['\0\0\0', 'The device list is not valid JSON.'],
        ['{}', 'The device list is not a JSON array.'],
        ['null', 'The device list is not a JSON array.'],
        ['"[]"', 'The device list is not a JSON array.'],
    ];
    for (const [text, fault] of faults) {
        assert.deepEqual(readDeviceList(text), { fault });
    }
});

test('Every truncated list is an error, not a shorter list', () => {
    const text = listText(3);
    for (let length = 0; length < text.length; length += 1) {
        assert.ok(readDeviceList(text.slice(0, length)).fault);
    }
});

test('Many nested brackets do no harm', () => {
    assert.ok(readDeviceList('['.repeat(1000000)).fault);
    const nested = '['.repeat(100000) + ']'.repeat(100000);
    assert.deepEqual(readDeviceList(nested),
        { devices: [], remark: '1 entry of the list cannot be read and is left out.' });
});

test('A device without a name is called by its address, or else by its product', () => {
    assert.equal(nameOf(read(entry(1, { hostName: 'a' })).devices[0]), 'a');
    assert.equal(nameOf(read(entry(1, { hostName: '' })).devices[0]), '192.0.2.2');
    assert.equal(nameOf(read({ deviceName: 'Lumen' }).devices[0]), 'Lumen');
    assert.equal(nameOf(read({ boardID: '0x1' }).devices[0]), 'a device without a name');
});
