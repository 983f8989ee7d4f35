import assert from 'node:assert/strict';
import { test } from 'node:test';

import { readDeviceList } from '../../../web/discovery/device_list.js';
import { matches, wordsOf } from '../../../web/discovery/filter.js';
import { entry, listText } from '../support/sample_list.js';

function finds(typed, changes = {}) {
    const [device] = readDeviceList(listText([entry(1, changes)])).devices;
    return matches(device, wordsOf(typed));
}

test('An empty search finds everything', () => {
    assert.ok(finds(''));
    assert.ok(finds('  \t '));
});

test('Any part of any detail is found', () => {
    for (const typed of ['room-1', 'corvia', '12 plus', 'recorder', '192.0.2.2', '0x1065']) {
        assert.ok(finds(typed), typed);
    }
    assert.ok(!finds('studio'));
});

test('Every word has to occur, in any order and detail', () => {
    assert.ok(finds('recorder control 192'));
    assert.ok(!finds('recorder studio'));
});

test('Case and accents do not matter', () => {
    assert.ok(finds('CORVIA'));
    assert.ok(finds('etage', { hostName: 'Étage 2' }));
    assert.ok(finds('ÉTAGE', { hostName: 'etage 2' }));
    assert.ok(finds('ｓｔｕｄｉｏ', { hostName: 'studio' }));
});

test('A search word does not match across two details', () => {
    assert.ok(!finds('room-1corvia'));
});

test('Special characters of regular expressions are ordinary characters', () => {
    assert.ok(finds('.*', { hostName: 'a.*b' }));
    assert.ok(!finds('.*'));
});
