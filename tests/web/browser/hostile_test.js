// The page shows data from the network as text only, and is not harmed by it.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { BrowserPages, failAgain, readAgain, textsOf, waitForText }
    from '../support/browser_page.js';
import { entry, kWritten, listText } from '../support/sample_list.js';

const pages = new BrowserPages();
const { server } = pages;
const kViews = [{}, { storage: { 'discovery.view': 'rows' } }];
const kNames = [
    '<img src=x onerror=alert(1)>', '<script>alert(2)</script>', '"><svg onload=alert(3)>',
    '\'); alert(4); (\'', '{{constructor}}', '&lt;b&gt;', '</title><script>alert(5)</script>',
    '-->', 'javascript:alert(6)', '%3Cscript%3E', '`${alert(7)}`',
];
const kFields = ['serviceDescription', 'serviceType', 'serviceDomain', 'hostName', 'ipAddress',
    'deviceName', 'description', 'boardType', 'boardNumber', 'boardID'];

// An entry with one text in all fields.
function uniform(text) {
    return Object.fromEntries([...kFields, 'port'].map((field) => [field, text]));
}

function isWiderThanWindow(page) {
    return page.evaluate(() =>
        document.documentElement.scrollWidth > document.documentElement.clientWidth);
}

test('Markup in any field is text', async () => {
    for (const options of kViews) {
        const page = await pages.openOn(listText(kNames.map(uniform)), options);
        assert.deepEqual((await textsOf(page, 'main .name')).sort(), [...kNames].sort());
        assert.equal(await page.locator('main :is(img, script, svg, b, iframe)').count(), 0);
        assert.equal(await page.locator('script').count(), 2);
        assert.equal(await page.locator('main a').count(), 0);
    }
});

test('Markup stays text in the page\'s log and in its messages for screen readers', async () => {
    const plain = kNames.map((_, index) => entry(index + 1));
    const page = await pages.openOn(listText(plain.slice(0, 4)), { host: 'control-room-1.local' });
    for (const index of [0, 1, 2, 3]) {
        const before = plain[index].hostName;
        plain[index] = { ...plain[index], hostName: kNames[index] };
        server.list = listText(plain.slice(0, 4));
        await readAgain(page);
        const line = `${before} is now ${kNames[index]}`;
        assert.equal((await textsOf(page, '#log .words'))[0], line);
        assert.ok((await page.textContent('#latest')).endsWith(line));
        assert.equal(await page.textContent('#announcer'), `${line}. 4 devices in all.`);
    }
    assert.equal(await page.locator('aside :is(img, script, svg)').count(), 0);
});

test('Markup in the name of the device that serves the page stays text', async () => {
    const page = await pages.openOn(listText([entry(1, {
        hostName: kNames[0], ipAddress: '127.0.0.1' })]));
    assert.equal(await page.title(), `1 device – ${kNames[0]}`);
    assert.equal(await page.textContent('#owner'), kNames[0]);
});

test('Only an address that is a dotted quad is a link', async () => {
    const addresses = ['javascript:alert(1)', 'data:text/html,x', '//evil.example', 'evil.example',
        '192.0.2.1@evil.example', '192.0.2.1/../x', '192.0.2.01', '192.0.2.1\n', '192.0.2.1'];
    const devices = addresses.map((ipAddress) => entry(1, { ipAddress }));
    const page = await pages.openOn(listText(devices));
    assert.equal(await page.locator('#cards > li').count(), addresses.length);
    assert.deepEqual(await page.$$eval('a', (links) => links.map((link) => link.href)),
        ['http://192.0.2.1/']);
});

test('Long names, control characters and any writing direction do not break the layout', async () => {
    const names = ['x'.repeat(10000), 'long name '.repeat(1000), 'e\u0301\u0320'.repeat(3000),
        '\u202egnp.exe', 'אולפן תל אביב', '\u001b[31m\u0000\b', '界'.repeat(10000),
        '\u2066a\u2067\u202a', '😀'.repeat(5000)];
    for (const options of kViews) {
        const page = await pages.openOn(listText(names.map(uniform)), options);
        for (const width of [390, 1280, 2560]) {
            await page.setViewportSize({ width, height: 800 });
            assert.equal(await page.locator('main .name').count(), names.length);
            assert.ok(!await isWiderThanWindow(page));
            const inLines = await page.$$eval('#cards > li, #rows > tr', (all) => {
                const line = parseFloat(getComputedStyle(document.body).lineHeight);
                return all.map((each) => each.getBoundingClientRect().height / line);
            });
            assert.ok(Math.max(...inLines) < 25, `${inLines}`);
        }
    }
});

test('A name that is written from right to left does not reorder the text around it', async () => {
    const page = await pages.openOn(listText([entry(1, {
        hostName: 'אולפן', ipAddress: '127.0.0.1' })]));
    const [name, badge] = await page.$$eval('h3 > *', (parts) =>
        parts.map((part) => part.getBoundingClientRect().left));
    assert.ok(name < badge);
    assert.equal(await page.$eval('h3', (heading) => getComputedStyle(heading).direction), 'ltr');
});

test('Entries that are not devices are left out; values of the wrong type are missing', async () => {
    for (const options of kViews) {
        const page = await pages.openOn(listText([entry(1), 5, null, 'text', [[]], {},
            { hostName: { toString: 1 }, ipAddress: 7, deviceName: 'Lumen', description: [] }]),
        options);
        assert.deepEqual(await textsOf(page, 'main .name'), ['control-room-1', 'Lumen']);
        assert.equal(await page.textContent('#notice'),
            '5 entries of the list cannot be read and are left out; ' +
            '1 device lacks some of the details.');
    }
});

test('Anything but a list is reported in one line, and the previous list stays', async () => {
    const page = await pages.openOn(kWritten);
    const unusable = [
        [kWritten.slice(0, 300), /^The device list breaks off after 300 characters\./],
        ['', /^The device list is an empty file\./],
        ['{"error":"no"}', /^The device list is not a JSON array\./],
        ['[{"hostName":}]', /^The device list is not valid JSON\./],
        ['<html>Log in</html>', /^The server sent a web page in place of the device list\./],
        [null, /^There is no device list yet: browse.json is missing\./],
        [`[${' '.repeat(16 * 2 ** 20)}]`, /^The device list is larger than 16 MB\./],
    ];
    for (const [list, notice] of unusable) {
        server.list = list;
        await failAgain(page, notice);
        assert.match(await page.textContent('#notice'), / What you see was read at [^\n]*\.$/);
        assert.equal(await page.locator('#cards > li').count(), 3);
        assert.match(await page.textContent('#announcer'), notice);
    }
    server.list = kWritten;
    await page.clock.fastForward(6000);
    await waitForText(page, '#notice', /^$/);
    assert.deepEqual(await textsOf(page, '#log .words'), []);
});

test('A list that breaks off during the transfer is an error, and the previous list stays', async () => {
    const page = await pages.openOn(kWritten);
    server.answer = (_, response) => {
        response.writeHead(200, { 'Content-Length': kWritten.length });
        response.write(kWritten.slice(0, 300), () => response.destroy());
    };
    await failAgain(page, /^The connection broke while the device list was read\./);
    assert.equal(await page.locator('#cards > li').count(), 3);
});

test('Of a list with far too many devices the first 5,000 are shown', async () => {
    const page = await pages.openOn(listText(new Array(20000).fill({ hostName: 'a' })),
        kViews[1]);
    assert.equal(await page.locator('#rows > tr').count(), 5000);
    assert.match(await page.textContent('#notice'),
        /the list names 20,000 devices, the first 5,000 are shown\.$/);
});

test('The page\'s policy refuses inline scripts, markup and other servers', async () => {
    const page = await pages.openOn('[]', { host: 'studio-a.local' });
    const refused = await page.evaluate(async () => {
        const blocked = [];
        document.addEventListener('securitypolicyviolation', (event) => {
            blocked.push(event.effectiveDirective);
        });
        const attempt = (act) => {
            try {
                act();
                return 'allowed';
            } catch (error) {
                return error.name;
            }
        };
        const script = document.createElement('script');
        const markup = attempt(() => { document.body.innerHTML = '<b>x</b>'; });
        const inline = attempt(() => { script.textContent = 'window.ran = true'; });
        const link = document.createElement('link');
        Object.assign(link, { rel: 'stylesheet', href: 'http://evil.example/x.css' });
        document.head.append(link);
        const image = new Image();
        image.src = 'http://evil.example/x.png';
        const fetched = await fetch('http://evil.example/').then(() => 'allowed',
            (error) => error.name);
        await new Promise((resolve) => { setTimeout(resolve, 0); });
        return { markup, inline, fetched, ran: window.ran, blocked: blocked.sort() };
    });
    assert.deepEqual({ ...refused, blocked: [...new Set(refused.blocked)] }, {
        markup: 'TypeError', inline: 'TypeError', fetched: 'TypeError', ran: undefined,
        blocked: ['connect-src', 'img-src', 'require-trusted-types-for', 'style-src-elem'],
    });
    pages.forgive(page, /evil\.example|Content Security Policy|TrustedHTML|TrustedScript/);
});
