// The devices on the page: their details, links, views, filter and order.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { BrowserPages, readAgain, textsOf, waitForText } from '../support/browser_page.js';
import { entry, kWritten, listText } from '../support/sample_list.js';

const pages = new BrowserPages();
const kRows = { storage: { 'discovery.view': 'rows' } };

test('Every device of a daemon\'s list is a card with its name, product, category and address',
async () => {
    const page = await pages.openOn(kWritten);
    assert.deepEqual(await textsOf(page, '#cards > li'), [
        'studio-aCorvia 12HD recorder192.0.2.10',
        'studio-bLumen Plus4K encoder192.0.2.11',
        'studio-cTalonMxMultichannel streamer192.0.2.12',
    ]);
    assert.ok(await page.isVisible('#cards'));
    assert.ok(!await page.isVisible('#table'));
    assert.equal(await page.title(), '3 devices – this device');
});

test('Every device of a daemon\'s list is a row with the same details', async () => {
    const page = await pages.openOn(kWritten, kRows);
    assert.deepEqual(await page.$$eval('#rows tr', (rows) =>
        rows.map((row) => [...row.cells].map((cell) => cell.textContent))), [
        ['studio-a', '192.0.2.10', 'Corvia 12', 'HD recorder', '0x10650001', ''],
        ['studio-b', '192.0.2.11', 'Lumen Plus', '4K encoder', '0x10660002', ''],
        ['studio-c', '192.0.2.12', 'TalonMx', 'Multichannel streamer', '0x10670001', ''],
    ]);
    assert.ok(await page.isVisible('#table'));
    assert.ok(!await page.isVisible('#cards'));
});

test('Only rows show boards; cards can be sorted by board only after the rows were sorted by it',
async () => {
    const page = await pages.openOn(listText([entry(1, { boardNumber: '3' })]));
    assert.doesNotMatch(await page.textContent('#cards'), /Board|0x1065/);
    assert.ok(await page.locator('#sort-column option[value=board]').evaluate((option) =>
        option.hidden));
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.match(await page.textContent('#rows'), /0x10650002 no\. 3/);
    await page.getByRole('button', { name: 'Board' }).click();
    await page.getByRole('radio', { name: 'Cards' }).check();
    assert.equal(await page.inputValue('#sort-column'), 'board');
});

test('A card leads to the page of its device wherever it is clicked', async () => {
    const page = await pages.openOn(kWritten);
    // The address is unreachable, but the request is enough.
    const asked = [];
    await page.route('http://192.0.2.*/**', (route) => {
        asked.push(route.request().url());
        return route.fulfill({ status: 204 });
    });
    const card = page.locator('#cards > li').nth(1);
    const { width, height } = await card.boundingBox();
    for (const position of [{ x: 3, y: height / 2 }, { x: width - 4, y: height / 2 },
        { x: width / 2, y: 3 }, { x: width / 2, y: height - 4 }, { x: 40, y: height - 20 }]) {
        const request = page.waitForRequest('http://192.0.2.11/');
        await card.click({ position });
        await request;
    }
    assert.deepEqual(asked, new Array(5).fill('http://192.0.2.11/'));
    pages.forgive(page, /^request: http:\/\/192\.0\.2\.11\/$/);
});

test('A card without a valid address is no link', async () => {
    const page = await pages.openOn(listText([entry(1, { ipAddress: 'unknown' })]));
    assert.equal(await page.locator('#cards a').count(), 0);
});

test('Each device links to its own page', async () => {
    for (const options of [{}, kRows]) {
        const page = await pages.openOn(kWritten, options);
        assert.deepEqual(await page.$$eval('main a', (links) =>
            links.map((link) => link.getAttribute('href'))),
        ['http://192.0.2.10:80/', 'http://192.0.2.11:80/', 'http://192.0.2.12:80/']);
    }
});

test('Lists of no, one, fifty and two thousand devices are shown in both views', async () => {
    for (const [options, selector] of [[{}, '#cards > li'], [kRows, '#rows > tr']]) {
        const page = await pages.openOn(listText(2000), options);
        for (const [count, text] of [[2000, '2,000 devices'], [0, '0 devices'], [1, '1 device'],
            [50, '50 devices'], [2000, '2,000 devices']]) {
            pages.server.list = listText(count);
            await readAgain(page);
            assert.equal(await page.locator(selector).count(), count);
            assert.equal(await page.textContent('#count'), text);
            assert.equal(await page.isVisible('#empty'), count === 0);
        }
    }
});

test('The page reports an empty list', async () => {
    const page = await pages.openOn('[]');
    assert.equal(await page.textContent('#empty'),
        'No devices have been found yet. They appear here by themselves.');
    assert.equal(await page.textContent('#notice'), '');
});

test('The device that serves the page is marked, by its address or its name', async () => {
    const list = listText([entry(1, { ipAddress: '127.0.0.1' }),
        entry(2, { hostName: 'studio-b' })]);
    for (const [host, name] of [['127.0.0.1', 'control-room-1'], ['studio-b.local', 'studio-b']]) {
        for (const options of [{}, kRows]) {
            const page = await pages.openOn(list, { host, ...options });
            const marked = page.locator('main :is(li, tr).this');
            assert.equal(await marked.count(), 1);
            assert.match(await marked.textContent(), new RegExp(`^${name}this device`));
            assert.equal(await page.textContent('#owner'), name);
            assert.equal(await page.title(), `2 devices – ${name}`);
        }
    }
});

test('The device that serves the page is the first card in either order, and the first row',
async () => {
    const list = listText([entry(1, { ipAddress: '127.0.0.1' }), entry(2), entry(3), entry(5)]);
    const page = await pages.openOn(list);
    const names = ['control-room-1', 'archive-5', 'ob-van-2', 'stage-left-3'];
    assert.deepEqual(await textsOf(page, '#cards .name'), names);
    await page.getByRole('button', { name: 'Order: ascending' }).click();
    assert.deepEqual(await textsOf(page, '#cards .name'),
        [names[0], ...names.slice(1).reverse()]);
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.deepEqual(await textsOf(page, '#rows .name'), [names[0], ...names.slice(1).reverse()]);
});

test('Cards and rows are switched, and the choice is kept', async () => {
    const page = await pages.openOn(kWritten);
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.equal(await page.locator('#rows > tr').count(), 3);
    assert.equal(await page.locator('#cards > li').count(), 0);
    await page.reload();
    await waitForText(page, '#last-read', /^Last read at /);
    assert.equal(await page.locator('#rows > tr').count(), 3);
    assert.ok(await page.getByRole('radio', { name: 'Rows' }).isChecked());
    await page.getByRole('radio', { name: 'Cards' }).check();
    assert.equal(await page.locator('#cards > li').count(), 3);
});

test('An invalid stored choice is ignored', async () => {
    const page = await pages.openOn(kWritten, { storage: { 'discovery.view': '"><script>' } });
    assert.equal(await page.locator('#cards > li').count(), 3);
});

test('Cards and rows can be switched even if nothing can be stored', async () => {
    const page = await pages.openOn(kWritten, {
        script: () => Object.defineProperty(window, 'localStorage', {
            get() {
                throw new DOMException('The operation is insecure.', 'SecurityError');
            },
        }),
    });
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.equal(await page.locator('#rows > tr').count(), 3);
});

test('The devices are filtered while the user types', async () => {
    const page = await pages.openOn(listText(50));
    const filter = page.getByRole('searchbox', { name: 'Find' });
    await filter.pressSequentially('talon', { delay: 0 });
    assert.equal(await page.textContent('#count'), '12 of 50 devices');
    assert.equal(await page.locator('#cards > li').count(), 12);
    await filter.pressSequentially('vt studio');
    assert.deepEqual(await textsOf(page, '#cards h3'), []);
    assert.equal(await page.textContent('#empty'), 'Nothing matches “talonvt studio”.');
    await filter.fill('');
    assert.equal(await page.textContent('#count'), '50 devices');
    assert.equal(await page.locator('#cards > li').count(), 50);
});

test('A screen reader announces the number of found devices when typing pauses', async () => {
    const page = await pages.openOn(listText(50));
    assert.equal(await page.textContent('#announcer'), '50 devices.');
    await page.fill('#filter', 'talon');
    assert.equal(await page.textContent('#announcer'), '50 devices.');
    await page.clock.fastForward(700);
    assert.equal(await page.textContent('#announcer'), '12 of 50 devices');
});

test('A click on a heading sorts the rows, and another click reverses the order', async () => {
    const page = await pages.openOn(listText([entry(9), entry(10), entry(3)]), kRows);
    const column = (index) => textsOf(page, `#rows tr > :nth-child(${index})`);
    const sortedColumns = () => page.$$eval('thead th', (cells) =>
        cells.map((cell) => cell.getAttribute('aria-sort')).map(String));
    assert.deepEqual(await column(1), ['newsroom-10', 'stage-left-3', 'stage-left-9']);
    assert.equal((await sortedColumns())[0], 'ascending');

    await page.getByRole('button', { name: 'Address' }).click();
    assert.deepEqual(await column(2), ['192.0.2.4', '192.0.2.10', '192.0.2.11']);
    assert.deepEqual(await sortedColumns(), ['null', 'ascending', 'null', 'null', 'null', 'null']);
    await page.getByRole('button', { name: 'Address' }).click();
    assert.deepEqual(await column(2), ['192.0.2.11', '192.0.2.10', '192.0.2.4']);
    assert.deepEqual(await sortedColumns(), ['null', 'descending', 'null', 'null', 'null', 'null']);

    for (const [name, index] of [['Product', 3], ['Category', 4], ['Board', 5]]) {
        await page.getByRole('button', { name }).click();
        const shown = await column(index);
        assert.deepEqual(shown, [...shown].sort());
    }
});

test('A box and a button sort the cards, and the rows keep this order', async () => {
    const page = await pages.openOn(listText([entry(9), entry(10), entry(3)]));
    await page.getByLabel('Sort by').selectOption('Address');
    assert.deepEqual(await textsOf(page, '#cards .name'),
        ['stage-left-3', 'stage-left-9', 'newsroom-10']);
    await page.getByRole('button', { name: 'Order: ascending' }).click();
    assert.deepEqual(await textsOf(page, '#cards .name'),
        ['newsroom-10', 'stage-left-9', 'stage-left-3']);
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.equal(await page.getAttribute('th[data-column=address]', 'aria-sort'), 'descending');
    assert.deepEqual(await textsOf(page, '#rows .name'),
        ['newsroom-10', 'stage-left-9', 'stage-left-3']);
});
