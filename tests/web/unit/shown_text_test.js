import assert from 'node:assert/strict';
import { test } from 'node:test';

import { kLongestText, shownText } from '../../../web/discovery/shown_text.js';

const code = (...codes) => String.fromCodePoint(...codes);

test('An ordinary text is shown as it is, in any script', () => {
    for (const text of ['studio-a', 'Café № 5', 'אולפן', 'ستوديو', '演播室', '👩‍🔧 desk', 'نمی‌خواهم']) {
        assert.equal(shownText(text), text);
    }
});

test('Markup and quotes are text like any other', () => {
    const text = '<img src=x onerror="alert(1)">&amp;\'`';
    assert.equal(shownText(text), text);
});

test('Every control character is replaced', () => {
    for (let control = 0; control < 0xa0; control += 1) {
        if (control < 0x20 || control >= 0x7f) {
            assert.equal(shownText(`a${code(control)}b`), 'a\ufffdb');
        }
    }
});

test('Line ends, marks that reorder text, and some invisible characters are replaced', () => {
    for (const hidden of [0x061c, 0x200e, 0x200f, 0x2028, 0x2029, 0x202a, 0x202e, 0x2066, 0x2069,
        0xfeff, 0xfff9, 0xe0041]) {
        assert.equal(shownText(`a${code(hidden)}b`), 'a\ufffdb');
    }
});

test('Half of a surrogate pair is replaced', () => {
    assert.equal(shownText('a\ud83db'), 'a\ufffdb');
    assert.equal(shownText('a\ude00'), 'a\ufffd');
});

test('A text without visible characters counts as empty', () => {
    for (const text of ['', ' ', '\t\n', '\u00a0', '\u200b\u200d', '\u3164', '\u2800']) {
        assert.equal(shownText(text), '');
    }
});

test('A value that is not a text counts as empty', () => {
    for (const value of [undefined, null, 5, true, {}, ['a'], { toString: () => 'a' }]) {
        assert.equal(shownText(value), '');
    }
});

test('A text of the largest length is shown completely, a longer one ends in an ellipsis', () => {
    assert.equal(shownText('x'.repeat(kLongestText)), 'x'.repeat(kLongestText));
    assert.equal(shownText('x'.repeat(10000)), `${'x'.repeat(kLongestText - 1)}…`);
});

test('Clipping does not cut a character in half', () => {
    const text = 'x'.repeat(kLongestText - 2) + '😀'.repeat(5);
    assert.equal(shownText(text), `${'x'.repeat(kLongestText - 2)}…`);
});
