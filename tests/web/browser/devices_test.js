// What the page shows of the devices, and how one finds one's way among them.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { BrowserPages, readAgain, textsOf, waitForText } from '../support/browser_page.js';
import { entry, kWritten, listText } from '../support/sample_list.js';

const pages = new BrowserPages();
const kRows = { storage: { 'discovery.view': 'rows' } };

test('Every device of the written list is a card with its name, product, category, address and ' +
    'board', async () => {
    const page = await pages.openOn(kWritten);
    assert.deepEqual(await textsOf(page, '#cards > li'), [
        'studio-aCorvia 12HD recorderAddress192.0.2.10Board0x10650001',
        'studio-bLumen Plus4K encoderAddress192.0.2.11Board0x10660002',
        'studio-cTalonMxMultichannel streamerAddress192.0.2.12Board0x10670001',
    ]);
    assert.ok(await page.isVisible('#cards'));
    assert.ok(!await page.isVisible('#table'));
    assert.equal(await page.title(), '3 devices – this device');
});

test('Every device of the written list is a row with the same details', async () => {
    const page = await pages.openOn(kWritten, kRows);
    assert.deepEqual(await page.$$eval('#rows tr', (rows) =>
        rows.map((row) => [...row.cells].map((cell) => cell.textContent))), [
        ['studio-a', 'Corvia 12', 'HD recorder', '192.0.2.10', '0x10650001', ''],
        ['studio-b', 'Lumen Plus', '4K encoder', '192.0.2.11', '0x10660002', ''],
        ['studio-c', 'TalonMx', 'Multichannel streamer', '192.0.2.12', '0x10670001', ''],
    ]);
    assert.ok(await page.isVisible('#table'));
    assert.ok(!await page.isVisible('#cards'));
});

test('Each device links to its own page', async () => {
    for (const options of [{}, kRows]) {
        const page = await pages.openOn(kWritten, options);
        assert.deepEqual(await page.$$eval('main a', (links) =>
            links.map((link) => link.getAttribute('href'))),
        ['http://192.0.2.10:80/', 'http://192.0.2.11:80/', 'http://192.0.2.12:80/']);
    }
});

test('None, one, fifty and two thousand devices are all shown, in both forms', async () => {
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

test('If there is no device, the page reports it', async () => {
    const page = await pages.openOn('[]');
    assert.equal(await page.textContent('#empty'),
        'No devices have been found yet. They appear here by themselves.');
    assert.equal(await page.textContent('#notice'), '');
});

test('The page\'s device is marked, by its address or its name', async () => {
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

test('Cards and rows are switched, and the choice is kept', async () => {
    const page = await pages.openOn(kWritten);
    await page.getByRole('radio', { name: 'Rows' }).check();
    assert.equal(await page.locator('#rows > tr').count(), 3);
    assert.equal(await page.locator('#cards > li').count(), 0);
    await page.reload();
    await waitForText(page, '#last-read', /^List read at /);
    assert.equal(await page.locator('#rows > tr').count(), 3);
    assert.ok(await page.getByRole('radio', { name: 'Rows' }).isChecked());
    await page.getByRole('radio', { name: 'Cards' }).check();
    assert.equal(await page.locator('#cards > li').count(), 3);
});

test('An invalid stored choice is ignored', async () => {
    const page = await pages.openOn(kWritten, { storage: { 'discovery.view': '"><script>' } });
    assert.equal(await page.locator('#cards > li').count(), 3);
});

test('The switch works even if nothing can be stored', async () => {
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

test('The rows are sorted by any column, and the other way round', async () => {
    const page = await pages.openOn(listText([entry(9), entry(10), entry(3)]), kRows);
    const column = (index) => textsOf(page, `#rows tr > :nth-child(${index})`);
    const sortedColumns = () => page.$$eval('thead th', (cells) =>
        cells.map((cell) => cell.getAttribute('aria-sort')).map(String));
    assert.deepEqual(await column(1), ['newsroom-10', 'stage-left-3', 'stage-left-9']);
    assert.equal((await sortedColumns())[0], 'ascending');

    await page.getByRole('button', { name: 'Address' }).click();
    assert.deepEqual(await column(4), ['192.0.2.4', '192.0.2.10', '192.0.2.11']);
    assert.deepEqual(await sortedColumns(), ['null', 'null', 'null', 'ascending', 'null', 'null']);
    await page.getByRole('button', { name: 'Address' }).click();
    assert.deepEqual(await column(4), ['192.0.2.11', '192.0.2.10', '192.0.2.4']);
    assert.deepEqual(await sortedColumns(), ['null', 'null', 'null', 'descending', 'null', 'null']);

    for (const [name, index] of [['Product', 2], ['Category', 3], ['Board', 5]]) {
        await page.getByRole('button', { name }).click();
        const shown = await column(index);
        assert.deepEqual(shown, [...shown].sort());
    }
});

test('The cards are sorted by a box and a button, as the rows are', async () => {
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
