import assert from 'node:assert/strict';
import { test } from 'node:test';

import { readDeviceList } from '../../../web/discovery/device_list.js';
import { KnownDevices, kNewForMs, kRememberedForMs } from '../../../web/discovery/known_devices.js';
import { differenceOf } from '../../../web/discovery/list_difference.js';
import { entries, entry, listText } from '../support/sample_list.js';

const read = (...entries) => readDeviceList(listText(entries)).devices;
const names = (devices) => devices.map((device) => device.hostName);

test('The same devices in another order are no difference', () => {
    assert.deepEqual(differenceOf(read(entry(1), entry(2)), read(entry(2), entry(1))),
        { came: [], went: [], changed: [] });
});

test('The difference has the devices that came, went and changed', () => {
    const difference = differenceOf(read(entry(1), entry(2), entry(3)),
        read(entry(2, { hostName: 'new' }), entry(3), entry(4)));
    assert.deepEqual(names(difference.came), ['newsroom-4']);
    assert.deepEqual(names(difference.went), ['control-room-1']);
    assert.equal(difference.changed.length, 1);
    assert.equal(difference.changed[0].before.hostName, 'ob-van-2');
    assert.equal(difference.changed[0].after.hostName, 'new');
});

test('A device with another address is another device', () => {
    const difference = differenceOf(read(entry(1)), read(entry(1, { ipAddress: '192.0.2.99' })));
    assert.equal(difference.came.length, 1);
    assert.equal(difference.went.length, 1);
});

test('Devices of the first reading have no time of arrival', () => {
    const known = new KnownDevices();
    assert.equal(known.devices, null);
    assert.equal(known.take(read(entry(1)), 1000), null);
    assert.equal(known.cameAt(known.devices[0].key), undefined);
    assert.equal(known.countNew(1000), 0);
});

test('A new device is marked as new for a minute', () => {
    const known = new KnownDevices();
    known.take([], 1000);
    const [device] = known.take(read(entry(1)), 2000).came;
    assert.equal(known.cameAt(device.key), 2000);
    assert.ok(known.isNew(device.key, 2000 + kNewForMs - 1));
    assert.equal(known.countNew(2000 + kNewForMs - 1), 1);
    assert.ok(!known.isNew(device.key, 2000 + kNewForMs));
    assert.equal(known.countNew(2000 + kNewForMs), 0);
});

test('A device that left and returned has the time of its return', () => {
    const known = new KnownDevices();
    known.take([], 0);
    known.take(read(entry(1)), 1000);
    const [{ key }] = known.take([], 2000).went;
    assert.equal(known.cameAt(key), undefined);
    known.take(read(entry(1)), 3000);
    assert.equal(known.cameAt(key), 3000);
});

test('An unchanged device is the same object after the next reading', () => {
    const known = new KnownDevices();
    known.take(read(entry(1), entry(2)), 0);
    const [first, second] = known.devices;
    known.take(read(entry(1), entry(2, { hostName: 'new' })), 1000);
    assert.equal(known.devices[0], first);
    assert.notEqual(known.devices[1], second);
    assert.equal(known.devices[1].hostName, 'new');
});

test('A device that returns within two minutes is recognised', () => {
    for (const [pause, expected] of [[kRememberedForMs - 1, ['control-room-1']],
        [kRememberedForMs, []]]) {
        const known = new KnownDevices();
        known.take(read(entry(1), entry(2)), 0);
        assert.deepEqual([...known.take(read(entry(2)), 1000).formerly], []);
        const { came, formerly } = known.take(
            read(entry(1, { hostName: 'new' }), entry(2), entry(3)), 1000 + pause);
        assert.deepEqual(names(came), ['new', 'stage-left-3']);
        assert.deepEqual(names([...formerly.values()]), expected);
    }
});

test('If more than a thousand devices leave, the last thousand are remembered', () => {
    const known = new KnownDevices();
    known.take(read(...entries(1500)), 0);
    known.take(read(...entries(1)), 1000);
    const { came, formerly } = known.take(read(...entries(1500)), 2000);
    assert.equal(came.length, 1499);
    assert.equal(formerly.size, 1000);
    assert.ok(formerly.has(came[1498].key));
    assert.ok(!formerly.has(came[498].key));
});
