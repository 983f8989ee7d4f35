import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { kMostBytes, requestList } from '../../../web/discovery/list_request.js';
import { PageServer } from '../support/page_server.js';
import { kWritten } from '../support/sample_list.js';

const server = new PageServer();
before(() => server.start());
after(() => server.stop());

const request = (timeLimitMs) => requestList(`${server.url()}browse.json`, timeLimitMs);

async function requestAnswered(answer, timeLimitMs) {
    server.answer = answer;
    try {
        return await request(timeLimitMs);
    } finally {
        server.answer = null;
    }
}

function withStatus(status) {
    return requestAnswered((_, response) => response.writeHead(status).end());
}

test('The list is received unchanged', async () => {
    server.modified = null;
    server.list = kWritten;
    assert.deepEqual(await request(), { text: kWritten, modified: null, age: null });
});

test('A list with bytes that are not UTF-8 is read', async () => {
    server.list = Buffer.from('["a\xffb\xc3"]', 'latin1');
    assert.equal((await request()).text, '["a\ufffdb\ufffd"]');
});

test('Characters that arrive in pieces are read correctly', async () => {
    const bytes = Buffer.from('["é😀"]');
    const { text } = await requestAnswered((_, response) => {
        const send = (index) => {
            if (index === bytes.length) {
                response.end();
            } else {
                const byte = bytes.subarray(index, index + 1);
                response.write(byte, () => setImmediate(send, index + 1));
            }
        };
        send(0);
    });
    assert.equal(text, '["é😀"]');
});

test('An empty file is an empty text', async () => {
    server.list = '';
    assert.equal((await request()).text, '');
    assert.equal((await withStatus(204)).text, '');
});

function dated(modified, served) {
    return requestAnswered((_, response) => {
        response.sendDate = false;
        response.writeHead(200, { 'Last-Modified': modified, ...served && { Date: served } });
        response.end('[]');
    });
}

test('The age of the list depends only on the clock of the server', async () => {
    const modified = 'Tue, 14 Nov 2023 22:13:20 GMT';
    assert.deepEqual(await dated(modified, 'Tue, 14 Nov 2023 22:14:50 GMT'),
        { text: '[]', modified, age: 90000 });
    assert.deepEqual(await dated(modified, ''), { text: '[]', modified, age: null });
    assert.deepEqual(await dated('yesterday', modified),
        { text: '[]', modified: 'yesterday', age: null });
});

test('A list with a time in the future counts as new', async () => {
    const { age } = await dated('Tue, 14 Nov 2023 22:14:50 GMT', 'Tue, 14 Nov 2023 22:13:20 GMT');
    assert.equal(age, 0);
});

test('A missing file is reported', async () => {
    assert.deepEqual(await withStatus(404),
        { fault: 'There is no device list yet: browse.json is missing.', isAway: false });
});

test('A server that refuses the list does not count as unreachable', async () => {
    assert.deepEqual(await withStatus(403),
        { fault: 'The server does not hand out the device list (status 403).', isAway: false });
    assert.deepEqual(await withStatus(401),
        { fault: 'The server does not hand out the device list (status 401).', isAway: false });
});

test('A server that answers 503 counts as unreachable', async () => {
    assert.deepEqual(await withStatus(503),
        { fault: 'The server cannot hand out the device list (status 503).', isAway: true });
});

test('A list of the largest size is read', async () => {
    server.list = '['.padEnd(kMostBytes - 1) + ']';
    assert.equal((await request()).text.length, kMostBytes);
});

test('A larger list is not read', async () => {
    server.list = '['.padEnd(kMostBytes) + ']';
    assert.deepEqual(await request(),
        { fault: 'The device list is larger than 16 MB.', isAway: false });
});

test('An endless list is not read', async () => {
    const piece = Buffer.alloc(65536, 0x20);
    const answer = await requestAnswered((_, response) => {
        const send = (error) => {
            if (!error) {
                response.write(piece, send);
            }
        };
        send();
    });
    assert.deepEqual(answer, { fault: 'The device list is larger than 16 MB.', isAway: false });
});

test('A connection that breaks is an error, not a shorter list', async () => {
    const answer = await requestAnswered((_, response) => {
        response.writeHead(200, { 'Content-Length': 1000 });
        response.write('[]', () => response.destroy());
    });
    assert.deepEqual(answer,
        { fault: 'The connection broke while the device list was read.', isAway: true });
});

test('A server that stops sending times out', async () => {
    assert.deepEqual(await requestAnswered(() => {}, 50),
        { fault: 'The server took longer than 0.05 s.', isAway: true });
    assert.deepEqual(await requestAnswered((_, response) => response.write('['), 50),
        { fault: 'The server took longer than 0.05 s.', isAway: true });
});

test('A missing server is reported as not answering', async () => {
    await server.stop();
    try {
        assert.deepEqual(await request(), { fault: 'The server does not answer.', isAway: true });
    } finally {
        await server.start();
    }
});
