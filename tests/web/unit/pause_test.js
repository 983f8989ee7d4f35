import assert from 'node:assert/strict';
import { test } from 'node:test';

import { pauseAfter } from '../../../web/discovery/pause.js';

test('Without errors, the list is requested every five seconds', () => {
    assert.equal(pauseAfter(0, 0), 5000);
    assert.equal(pauseAfter(0, 0.999), 5000);
});

test('Each further failure doubles the pause without its random part, up to a minute', () => {
    assert.deepEqual([1, 2, 3, 4, 5, 6, 1000, 5000].map((failures) => pauseAfter(failures, 0)),
        [5000, 10000, 20000, 40000, 60000, 60000, 60000, 60000]);
});

test('Pages that lost a server at the same time return at different times', () => {
    assert.equal(pauseAfter(1, 0.5), 5500);
    assert.equal(pauseAfter(9, 0.5), 66000);
});
