// The page works with the keyboard, with a screen reader, in dark colours, and on a phone.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { test } from 'node:test';

import { BrowserPages, failAgain, readAgain } from '../support/browser_page.js';
import { entry, kWritten, listText } from '../support/sample_list.js';

const pages = new BrowserPages();
const { server } = pages;
const kAxe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

// The rules of accessibility that the page breaks: contrast, names, roles, order and more.
async function broken(page) {
    await page.evaluate(kAxe);
    const { violations } = await page.evaluate(() => window.axe.run());
    return violations.flatMap(({ id, nodes }) => nodes.map((node) => `${id}: ${node.html}`));
}

// A page that shows every kind of element.
async function fullPage(options) {
    const page = await pages.openOn(listText([entry(1), entry(2), { hostName: 'a' }]),
        { host: 'control-room-1.local', bypassCSP: true, ...options });
    server.list = listText([entry(1), entry(3), entry(4, { hostName: 'אולפן' }),
        { hostName: 'a' }]);
    await readAgain(page);
    await page.click('summary');
    return page;
}

test('No accessibility rule is broken: light, dark, cards, rows, phone, wall screen', async () => {
    for (const [colorScheme, view, width] of [['light', 'cards', 390], ['light', 'rows', 2560],
        ['dark', 'cards', 2560], ['dark', 'rows', 390]]) {
        const page = await fullPage({
            colorScheme, viewport: { width, height: 900 }, storage: { 'discovery.view': view },
        });
        assert.deepEqual(await broken(page), []);
    }
});

test('No accessibility rule is broken while an error is shown', async () => {
    for (const colorScheme of ['light', 'dark']) {
        const page = await pages.openOn(kWritten, { colorScheme, bypassCSP: true });
        server.list = null;
        await failAgain(page, /^There is no device list yet/);
        await page.fill('#filter', 'nothing like it');
        assert.deepEqual(await broken(page), []);
    }
});

test('The page has its landmarks, headings and one polite live region', async () => {
    const page = await pages.openOn(kWritten);
    for (const role of ['banner', 'search', 'main', 'complementary', 'status']) {
        assert.equal(await page.getByRole(role).count(), 1, role);
    }
    assert.equal(await page.getByRole('heading', { level: 1, name: 'Devices' }).count(), 1);
    assert.equal(await page.getByRole('heading', { level: 3 }).count(), 3);
    assert.equal(await page.locator('[aria-live=assertive], [role=alert]').count(), 0);
    assert.equal(await page.getByRole('list').locator('li').count(), 3);
});

test('The table has a name, row headings and column headings', async () => {
    const page = await pages.openOn(kWritten, { storage: { 'discovery.view': 'rows' } });
    assert.equal(await page.getByRole('rowheader').count(), 3);
    assert.equal(await page.getByRole('columnheader').count(), 6);
    assert.equal(await page.getByRole('table', { name: 'Devices found' }).count(), 1);
});

test('Everything can be reached and used with the keyboard', async () => {
    const page = await pages.openOn(kWritten);
    const stop = async () => {
        await page.keyboard.press('Tab');
        return page.evaluate(() => document.activeElement.id || document.activeElement.value ||
            document.activeElement.textContent);
    };
    const stops = [];
    for (let index = 0; index < 8; index += 1) {
        stops.push(await stop());
    }
    assert.deepEqual(stops, ['refresh', 'filter', 'sort-column', 'sort-direction', 'cards',
        'Recent changesnone so far', 'studio-a', 'studio-b']);

    await page.focus('input[value=cards]');
    await page.keyboard.press('ArrowRight');
    assert.equal(await page.locator('#rows > tr').count(), 3);
    assert.ok(await page.isChecked('input[value=rows]'));
    await page.getByRole('button', { name: 'Address' }).focus();
    await page.keyboard.press('Enter');
    await page.keyboard.press('Space');
    assert.equal(await page.getAttribute('th[data-column=address]', 'aria-sort'), 'descending');
    await page.focus('#filter');
    await page.keyboard.type('lumen');
    assert.equal(await page.locator('#rows > tr').count(), 1);
    await page.keyboard.press('Escape');
    assert.equal(await page.locator('#rows > tr').count(), 3);
});

test('Nothing is wider than a phone', async () => {
    for (const view of ['cards', 'rows']) {
        const page = await fullPage({
            viewport: { width: 320, height: 640 }, storage: { 'discovery.view': view },
        });
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= 320));
    }
});

test('The phone shows the address of every row', async () => {
    for (const width of [320, 390]) {
        const list = listText([entry(1, { hostName: 'a-name-of-many-letters' }),
            entry(2, { ipAddress: '192.168.200.100' }), entry(3)]);
        const page = await pages.openOn(list, {
            viewport: { width, height: 640 }, storage: { 'discovery.view': 'rows' },
        });
        const ends = await page.$$eval('#rows td:nth-child(2) bdi', (all) =>
            all.map((each) => each.getBoundingClientRect().right));
        assert.equal(ends.length, 3);
        assert.ok(Math.max(...ends) <= width, `${ends}`);
    }
});

// The number of lines on which the visible elements of a selector are.
function lineCount(page, selector) {
    return page.$$eval(selector, (all) => {
        const middles = all.filter((each) => each.offsetParent !== null).map((each) => {
            const { top, bottom } = each.getBoundingClientRect();
            return Math.round((top + bottom) / 2 / 8);
        });
        return new Set(middles).size;
    });
}

test('In a window of a tablet\'s width, the head and the tools take one line each', async () => {
    for (const view of ['cards', 'rows']) {
        const page = await fullPage({ storage: { 'discovery.view': view } });
        for (let width = 650; width <= 1100; width += 10) {
            await page.setViewportSize({ width, height: 900 });
            assert.equal(await lineCount(page, 'h1, .state, #refresh'), 1, `head at ${width}`);
            assert.equal(await lineCount(page, '.filter, .sort, #view'), 1, `tools at ${width}`);
        }
    }
});

test('The log opens in a wide window, and closes in a narrower one', async () => {
    const page = await pages.openOn(kWritten);
    assert.ok(!await page.isVisible('#watching'));
    await page.setViewportSize({ width: 2560, height: 1000 });
    await page.locator('#watching').waitFor({ state: 'visible' });
    await page.setViewportSize({ width: 1280, height: 800 });
    await page.locator('#watching').waitFor({ state: 'hidden' });
});

test('The colours follow the settings of the system', async () => {
    const page = await pages.openOn(kWritten);
    const ground = async (colorScheme) => {
        await page.emulateMedia({ colorScheme });
        return page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    };
    assert.equal(await ground('light'), 'rgb(238, 241, 244)');
    assert.equal(await ground('dark'), 'rgb(14, 19, 24)');
});

test('Without JavaScript, the page states that it needs JavaScript', async () => {
    const page = await pages.open({ javaScriptEnabled: false });
    assert.equal(await page.textContent('noscript'),
        'This page needs JavaScript to read the device list.');
});
