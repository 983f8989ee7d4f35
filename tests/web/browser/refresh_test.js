// The page follows changes of the list.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { BrowserPages, failAgain, readAgain, textsOf, waitForText }
    from '../support/browser_page.js';
import { entries, entry, kWritten, listText } from '../support/sample_list.js';

const pages = new BrowserPages();
const { server } = pages;
const kRows = { storage: { 'discovery.view': 'rows' } };

// Counts the elements and texts that are added, removed or changed from now on, except the time
// of the last reading.
function watchTouches(page) {
    return page.evaluate(() => {
        window.touches = 0;
        new MutationObserver((records) => {
            for (const { target, addedNodes, removedNodes } of records) {
                if (!document.getElementById('last-read').contains(target)) {
                    window.touches += Math.max(1, addedNodes.length + removedNodes.length);
                }
            }
        }).observe(document.body, {
            subtree: true, childList: true, characterData: true, attributes: true,
        });
    });
}

const touches = (page) => page.evaluate(() => window.touches);
const logLines = (page) => textsOf(page, '#log .words');

// Hides or shows the page, like a change of the browser's tab.
async function setHidden(page, isHidden) {
    await page.evaluate((hidden) => {
        Object.defineProperty(document, 'hidden', { value: hidden, configurable: true });
        document.dispatchEvent(new Event('visibilitychange'));
    }, isHidden);
}

test('A device that is renamed while it is away is reported as returned', async () => {
    const page = await pages.openOn(listText([entry(1), entry(2)]));
    for (const devices of [[entry(1)], [entry(1), entry(2, { hostName: 'gallery' })]]) {
        server.list = listText(devices);
        await readAgain(page);
    }
    assert.deepEqual(await logLines(page), ['ob-van-2 came back as gallery', 'ob-van-2 went']);
    assert.equal(await page.textContent('#announcer'),
        'ob-van-2 came back as gallery. 2 devices in all.');
});

test('New, renamed and departed devices are shown without a reload, with the time', async () => {
    for (const [options, selector] of [[{}, '#cards > li'], [kRows, '#rows > tr']]) {
        const page = await pages.openOn(listText([entry(1), entry(2)]), options);
        assert.equal(await page.textContent('#latest'), 'none so far');
        server.list = listText([entry(2, { hostName: 'gallery' }), entry(3)]);
        await readAgain(page);
        assert.deepEqual(await textsOf(page, `${selector} .name`), ['gallery', 'stage-left-3']);
        assert.deepEqual(await logLines(page),
            ['stage-left-3 came', 'ob-van-2 is now gallery', 'control-room-1 went']);
        assert.match(await page.textContent('#latest'), /^\d.* stage-left-3 came$/);
        assert.equal(await page.textContent('#announcer'), 'stage-left-3 came, ob-van-2 is now ' +
            'gallery, control-room-1 went. 2 devices in all.');
        assert.equal(await page.title(), '2 devices – this device');
        const times = await page.$$eval('#log time', (all) => all.map((each) => each.dateTime));
        const now = await page.evaluate(() => Date.now());
        for (const time of times) {
            assert.ok(now - Date.parse(time) >= 0 && now - Date.parse(time) < 60000);
        }
    }
});

test('The newest changes are on top of the log, and the oldest are dropped', async () => {
    const page = await pages.openOn('[]');
    for (let round = 1; round <= 22; round += 1) {
        server.list = listText(Array.from({ length: 5 }, (_, index) => entry(5 * round + index)));
        await readAgain(page);
    }
    const lines = await logLines(page);
    assert.equal(lines.length, 200);
    assert.match(lines[0], /-110 came$/);
});

test('A new device is marked for a minute, and always shows when it was first seen', async () => {
    const page = await pages.openOn('[]');
    server.list = listText([entry(1)]);
    await readAgain(page);
    assert.match(await page.textContent('#cards .badge.new'), /^first seen \d/);
    await page.clock.fastForward(55000);
    await page.locator('#cards .badge.new').waitFor({ state: 'detached' });
    assert.match(await page.textContent('#cards .badge.came'), /^first seen \d/);
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.match(await page.textContent('#rows td:last-child'), /^\d/);
});

test('The list is requested conditionally, and an unchanged one updates nothing', async () => {
    for (const options of [{}, kRows]) {
        server.reads = [];
        const page = await pages.openOn(kWritten, options);
        await watchTouches(page);
        await readAgain(page);
        await readAgain(page);
        assert.deepEqual(server.reads.map((read) => read.status), [200, 304, 304]);
        assert.equal(server.reads[0].ifNoneMatch, undefined);
        assert.match(server.reads[1].ifNoneMatch, /^"[0-9a-f]{40}"$/);
        assert.equal(await touches(page), 0);
    }
});

test('The page shows when the file was written, even if the browser\'s clock is wrong', async () => {
    const age = 25 * 60000;
    server.modified = new Date(Date.now() - age);
    const script = () => {
        const { now } = Date;
        const days = 3 * 86400000;
        Date.now = () => now() - days;
    };
    const page = await pages.openOn(kWritten, { script });
    const shown = await page.textContent('#updated');
    const possible = await page.evaluate((ms) => [-2, -1, 0, 1, 2].map((seconds) =>
        `Updated ${new Intl.DateTimeFormat(undefined, { timeStyle: 'medium' })
            .format(Date.now() - ms + 1000 * seconds)}`), age);
    assert.ok(possible.some((text) => shown === text || shown.endsWith(text.slice(8))),
        `${shown}: ${possible}`);
    await readAgain(page);
    assert.equal(await page.textContent('#updated'), shown);
    server.modified = new Date(Date.now() - 1000);
    server.list = listText(2);
    await readAgain(page);
    assert.notEqual(await page.textContent('#updated'), shown);
});

test('A list that was not written for an hour is marked as old until it changes', async () => {
    server.modified = new Date(Date.now() - 3500000);
    const page = await pages.openOn(kWritten);
    const lamp = () => page.$eval('.lamp', (each) => getComputedStyle(each).backgroundColor);
    const good = await lamp();
    assert.equal(await page.textContent('#old'), '');
    await page.clock.fastForward(3600000);
    await waitForText(page, '#old', /may have stopped, or this device has no neighbours\.$/);
    assert.notEqual(await lamp(), good);
    server.modified = new Date();
    server.list = listText(2);
    await readAgain(page);
    assert.equal(await page.textContent('#old'), '');
    assert.equal(await lamp(), good);
});

test('If the server does not report the time of the file, the page shows the time of reading',
async () => {
    server.modified = null;
    const page = await pages.openOn(kWritten);
    assert.match(await page.textContent('#updated'), /^Read at \d/);
});

test('A list without an entity tag is requested by the time of the file', async () => {
    const asked = [];
    server.answer = (request, response) => {
        asked.push(request.headers['if-modified-since']);
        const isCurrent = request.headers['if-modified-since'] !== undefined;
        response.writeHead(isCurrent ? 304 : 200,
            { 'Last-Modified': 'Sat, 21 Nov 2026 10:00:00 GMT' });
        response.end(isCurrent ? undefined : kWritten);
    };
    const page = await pages.openOn(kWritten);
    await readAgain(page);
    assert.deepEqual(asked, [undefined, 'Sat, 21 Nov 2026 10:00:00 GMT']);
    assert.equal(await page.locator('#cards > li').count(), 3);
    assert.equal(await page.textContent('#notice'), '');
});

test('The same devices in another order and notation update nothing', async () => {
    const page = await pages.openOn(kWritten);
    await watchTouches(page);
    server.list = JSON.stringify(JSON.parse(kWritten).reverse(), null, 4);
    await readAgain(page);
    assert.equal(await touches(page), 0);
});

test('If one of two thousand devices appears, changes or leaves, only this one is updated', async () => {
    for (const options of [{}, kRows]) {
        const page = await pages.openOn(listText(2000), options);
        const steps = [
            [...entries(2000), entry(2001)],
            [...entries(2000), entry(2001, { hostName: 'zz-last' })],
            entries(2000),
        ];
        for (const step of steps) {
            await watchTouches(page);
            server.list = listText(step);
            await readAgain(page);
            const touched = await touches(page);
            assert.ok(touched > 0 && touched < 60, `${touched}`);
        }
    }
});

test('Only the renamed device moves to another position', async () => {
    const page = await pages.openOn(listText(2000));
    await watchTouches(page);
    server.list = listText(entries(2000).map((each) =>
        (each.hostName === 'archive-5' ? { ...each, hostName: 'zz' } : each)));
    await readAgain(page);
    assert.equal((await textsOf(page, '#cards .name')).at(-1), 'zz');
    assert.ok(await touches(page) < 20);
});

test('The focus stays on a device that moves in the list', async () => {
    for (const options of [{}, kRows]) {
        const page = await pages.openOn(listText(entries(6)), options);
        const focused = () => page.evaluate(() => document.activeElement.textContent);
        await page.getByRole('link', { name: 'ob-van-2' }).focus();
        server.list = listText([...entries(6), entry(1, { ipAddress: '192.0.2.99' })]);
        await readAgain(page);
        assert.equal(await focused(), 'ob-van-2');
        server.list = listText([entry(2, { hostName: 'aa' }), entry(1), entry(4)]);
        await readAgain(page);
        assert.equal(await focused(), 'aa');
        server.list = listText([entry(2, { hostName: 'zz' }), entry(1), entry(4)]);
        await readAgain(page);
        assert.equal(await focused(), 'zz');
    }
});

test('When a device leaves, the focus moves to the nearest remaining one', async () => {
    const page = await pages.openOn(listText(entries(6)));
    const focused = () => page.evaluate(() => document.activeElement.textContent);
    const names = await textsOf(page, '#cards .name');
    await page.getByRole('link', { name: names[2] }).focus();
    const without = (gone) => listText(entries(6).filter((each) => !gone.includes(each.hostName)));
    server.list = without([names[2]]);
    await readAgain(page);
    assert.equal(await focused(), names[3]);
    server.list = without(names.slice(2));
    await readAgain(page);
    assert.equal(await focused(), names[1]);
    server.list = '[]';
    await readAgain(page);
    assert.equal(await page.evaluate(() => document.activeElement.localName), 'main');
});

test('A typed text and the scroll position stay after a reading', async () => {
    const page = await pages.openOn(listText(200));
    await page.locator('#filter').pressSequentially('a');
    await page.evaluate(() => window.scrollTo(0, 900));
    server.list = listText(201);
    await readAgain(page);
    assert.equal(await page.evaluate(() => document.activeElement.id), 'filter');
    assert.equal(await page.inputValue('#filter'), 'a');
    assert.ok(Math.abs(await page.evaluate(() => window.scrollY) - 900) < 300);
});

test('A missing server is reported, and asked less and less often', async () => {
    const page = await pages.openOn(kWritten);
    const waits = [];
    await server.stop();
    try {
        await failAgain(page, /^The server does not answer\. What you see was read at .*\d s\.$/);
        for (let failure = 0; failure < 6; failure += 1) {
            const [, seconds] = /Next try in (\d+) s/.exec(await page.textContent('#notice'));
            waits.push(Number(seconds));
            const request = page.waitForEvent('requestfailed');
            await page.clock.fastForward(Number(seconds) * 1000);
            await request;
            await waitForText(page, '#notice', /Next try in ([2-9]|\d\d) s/);
        }
    } finally {
        await server.start();
    }
    // The seconds may have been counted down by one before they were read.
    for (const [index, pause] of [5, 10, 20, 40, 60, 60].entries()) {
        assert.ok(waits[index] >= pause - 1 && waits[index] <= Math.ceil(1.2 * pause), `${waits}`);
    }
    assert.equal(await page.textContent('#announcer'), 'The server does not answer.');
    assert.equal(await page.locator('#cards > li').count(), 3);
    assert.ok(await page.evaluate(() => document.body.classList.contains('faulty')));
});

test('When the server returns, the changes that the page missed are shown', async () => {
    const page = await pages.openOn(kWritten);
    await server.stop();
    try {
        await failAgain(page, /^The server does not answer\./);
    } finally {
        server.list = listText([...JSON.parse(kWritten), entry(1)]);
        await server.start();
    }
    await readAgain(page);
    await waitForText(page, '#notice', /^$/);
    assert.equal(await page.textContent('#announcer'),
        'The device list can be read again. control-room-1 came. 4 devices in all.');
    assert.deepEqual(await logLines(page), ['control-room-1 came']);
    assert.ok(!await page.evaluate(() => document.body.classList.contains('faulty')));
});

test('A page that was opened while the server answered 503 shows the list later', async () => {
    server.answer = (_, response) => response.writeHead(503).end();
    const page = await pages.open();
    await waitForText(page, '#notice',
        /^The server cannot hand out the device list \(status 503\)\. Next try in \d s\.$/);
    assert.equal(await page.textContent('#updated'), 'Not read yet');
    assert.equal(await page.textContent('#empty'), 'There is nothing to show yet.');
    server.answer = null;
    server.list = kWritten;
    await readAgain(page);
    assert.equal(await page.locator('#cards > li').count(), 3);
    assert.equal(await page.textContent('#notice'), '');
});

test('The Refresh button reads the list at once', async () => {
    const page = await pages.openOn(kWritten);
    server.list = listText([entry(1)]);
    await page.getByRole('button', { name: 'Refresh' }).click();
    await waitForText(page, '#count', /^1 device$/);
    assert.equal(await page.evaluate(() => document.activeElement.id), 'refresh');
});

test('While the page is hidden, the list is not requested', async () => {
    const page = await pages.openOn(kWritten);
    await setHidden(page, true);
    server.reads = [];
    await page.clock.fastForward(600000);
    assert.deepEqual(server.reads, []);
    server.list = listText([entry(1)]);
    await setHidden(page, false);
    await waitForText(page, '#count', /^1 device$/);
    assert.equal(server.reads.length, 1);
});
