import assert from 'node:assert/strict';
import { test } from 'node:test';

import { addressNumber } from '../../../web/discovery/address.js';
import { pageOf } from '../../../web/discovery/device_pages.js';

test('A dotted quad leads to the page of the device', () => {
    for (const address of ['192.0.2.10', '0.0.0.0', '255.255.255.255', '10.200.99.1']) {
        assert.equal(pageOf(address), `http://${address}:80/`);
    }
});

test('Only a dotted quad is a link', () => {
    for (const address of ['', 'studio-a', '192.0.2', '192.0.2.10.1', '192.0.2.256', '192.0.2.010',
        '192.0.2.10 ', ' 192.0.2.10', '192.0.2.10\n', '192.0.2.10/x', '192.0.2.10:81', '3221225994',
        '0xc0.0.2.10', '::1', 'javascript:alert(1)', 'evil.example/192.0.2.10', '192.0.2.10@evil',
        '1٩2.0.2.1', '192.0.2.10\0']) {
        assert.equal(pageOf(address), '', address);
    }
});

test('A dotted quad has a number, and other texts have none', () => {
    assert.equal(addressNumber('0.0.0.0'), 0);
    assert.equal(addressNumber('192.0.2.10'), 0xc000020a);
    assert.equal(addressNumber('255.255.255.255'), 0xffffffff);
    assert.ok(Number.isNaN(addressNumber('studio-a')));
});
