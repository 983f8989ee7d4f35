// Random lists, from a seed: damaged ones, and well-formed ones with any values.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { kMostDevices, readDeviceList } from '../../../web/discovery/device_list.js';
import { kLongestText } from '../../../web/discovery/shown_text.js';
import { kWritten } from '../support/sample_list.js';

const kRounds = 20000;
const kSeed = 20250101;
// The characters that may be kept of a list: for each device, and for each character of the list. A
// text is shown, and is a part of the key and the link. In the text that the filter searches, a
// ligature can become 18 characters.
const kPerDevice = 64;
const kPerCharacter = 3;
const kPerSearchedCharacter = 18;
const kTexts = ['hostName', 'product', 'category', 'address', 'board'];
const kUnsafe = /[\p{Cc}\p{Cs}\p{Bidi_Control}]/u;
const kPieces = ['[', ']', '{', '}', ',', ':', '"', '\\', '\\u0000', '\\ud800', '\\n', 'null', '1e999',
    '-', '0', '"hostName":', '"ipAddress":"192.0.2.', '"boardNumber":', '"__proto__":', '<', '\u202e',
    '\ud83d', '\udcaf', '\ufdfa', ' ', 'x'.repeat(300)];
const kNames = ['serviceDescription', 'hostName', 'ipAddress', 'deviceName', 'description',
    'boardNumber', 'boardID', '__proto__', 'port'];

// A linear congruential generator (Numerical Recipes): whole numbers from 0 to limit - 1.
function generator(seed) {
    let state = seed >>> 0;
    return (limit) => {
        state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
        return Math.floor(state / 2 ** 32 * limit);
    };
}

const oneOf = (draw, values) => values[draw(values.length)];

function damaged(draw) {
    let text = kWritten;
    for (let changes = draw(8); changes >= 0; --changes) {
        const start = draw(text.length);
        text = text.slice(0, start) + (draw(3) > 0 ? oneOf(draw, kPieces) : '') +
            text.slice(start + draw(draw(10) > 0 ? 3 : 400));
    }
    return text;
}

function value(draw) {
    return oneOf(draw, [null, true, draw(300), [], {}, '', ' ', '192.0.2.1', '0', '\u2028\n',
        Array.from({ length: draw(6) }, () => oneOf(draw, kPieces)).join('')]);
}

function record(draw) {
    const members = Array.from({ length: draw(9) }, () => [oneOf(draw, kNames), value(draw)]);
    return draw(8) === 0 ? value(draw) : Object.fromEntries(members);
}

function checkDevice(device) {
    for (const name of kTexts) {
        assert.equal(typeof device[name], 'string');
        assert.doesNotMatch(device[name], kUnsafe);
        assert.ok(device[name].length <= 2 * kLongestText + ' no. '.length);
    }
    assert.match(device.page, /^(http:\/\/\d+\.\d+\.\d+\.\d+:80\/)?$/);
}

function checkSize(text, devices) {
    const kept = devices.flatMap(({ searched, ...others }) => Object.values(others)).join('');
    assert.ok(kept.length <= kPerDevice * devices.length + kPerCharacter * text.length);
    const searched = devices.map((device) => device.searched).join('');
    assert.ok(searched.length <= kPerDevice * devices.length + kPerSearchedCharacter * text.length);
}

function check(text) {
    const { devices, remark, fault } = readDeviceList(text);
    if (fault !== undefined) {
        assert.match(fault, /^[A-Z].*\.$/);
        return 0;
    }
    assert.match(remark, /^$|^[A-Z0-9].*\.$/);
    devices.forEach(checkDevice);
    assert.equal(new Set(devices.map((device) => device.key)).size, devices.length);
    // No entry vanishes: it is shown, or it counts as left out.
    const left = Number((/([\d,]+) (entry|entries) of/.exec(remark)?.[1] ?? '0').replaceAll(',', ''));
    assert.ok(devices.length <= kMostDevices);
    checkSize(text, devices);
    assert.equal(devices.length + left, JSON.parse(text).length);
    return devices.length;
}

function play(compose) {
    const draw = generator(kSeed);
    let shown = 0;
    for (let round = 0; round < kRounds; ++round) {
        const text = compose(draw);
        try {
            shown += check(text);
        } catch (error) {
            error.message += `\nThe list: ${JSON.stringify(text)}`;
            throw error;
        }
    }
    assert.ok(shown > kRounds / 10, `only ${shown} devices were read`);
}

test('A damaged list gives one line of fault, or devices that are safe and not too long', () => {
    play(damaged);
});

test('Lists of any values give devices that are safe and not too long, and lose no entry', () => {
    play((draw) => JSON.stringify(Array.from({ length: draw(6) }, () => record(draw))));
});
