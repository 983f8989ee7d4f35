// After an upgrade of the page, a browser shows files of one version only, even if the web server
// sends no headers about caching, like BusyBox's.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { cp, mkdtemp, readdir, rm, utimes, writeFile } from 'node:fs/promises';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

import { chromium } from 'playwright-core';

import { kWritten } from '../support/sample_list.js';

const kWeb = new URL('../../../web', import.meta.url).pathname;
// Browsers use a cached file without a request for a tenth of its age.
const kLongAgo = Date.now() - 1000 * 86400000;
const kMark = 'data-version';

let folder;
let server;
let url;
let browser;

async function freePort() {
    const listener = createServer();
    await new Promise((resolve) => { listener.listen(0, '127.0.0.1', resolve); });
    const { port } = listener.address();
    await new Promise((resolve) => { listener.close(resolve); });
    return port;
}

// Installs a version of the page whose index, script and style sheet contain its number.
async function install(version) {
    const source = join(folder, 'source');
    await rm(source, { recursive: true, force: true });
    await cp(kWeb, source, { recursive: true });
    const page = join(source, 'discovery');
    execFileSync('sed', ['-i', `s/<body /<body ${kMark}="${version}" /`, join(page, 'index.html')]);
    await writeFile(join(page, 'pause.js'),
        `document.documentElement.dataset.script = '${version}';\n`, { flag: 'a' });
    await writeFile(join(page, 'page.css'), `html { --version: ${version}; }\n`, { flag: 'a' });
    const output = join(folder, 'served/discovery');
    execFileSync('cmake', [`-DOUTPUT=${output}`, '-P', join(source, 'compose.cmake')]);
    await writeFile(join(output, 'browse.json'), kWritten);
    // As in a package, all files of a version have one time.
    const time = new Date(kLongAgo + version * 86400000);
    for (const name of await readdir(output, { recursive: true })) {
        await utimes(join(output, name), time, time);
    }
}

// The versions of the page's index, script and style sheet.
async function versionsIn(page) {
    await page.waitForFunction(() => document.querySelectorAll('#cards > li').length === 3);
    return page.evaluate((mark) => [
        document.body.getAttribute(mark), document.documentElement.dataset.script,
        getComputedStyle(document.documentElement).getPropertyValue('--version').trim(),
    ], kMark);
}

async function visit(context) {
    const page = await context.newPage();
    await page.goto(url);
    const versions = await versionsIn(page);
    await page.close();
    return versions;
}

before(async () => {
    folder = await mkdtemp(join(tmpdir(), 'beacond-upgrade-'));
    await install(1);
    const port = await freePort();
    url = `http://127.0.0.1:${port}/discovery/`;
    server = spawn('busybox', ['httpd', '-f', '-p', `127.0.0.1:${port}`, '-h',
        join(folder, 'served')], { stdio: 'ignore' });
    browser = await chromium.launch({
        executablePath: '/usr/bin/chromium', args: ['--no-sandbox', '--disable-gpu'],
    });
    for (;;) {
        try {
            await fetch(url);
            return;
        } catch (error) {
            assert.equal(server.exitCode, null, `${error}`);
        }
    }
});

after(async () => {
    await browser.close();
    server.kill();
    await rm(folder, { recursive: true });
});

test('A cached index is shown with files of its version, or requested again', async () => {
    await install(1);
    const context = await browser.newContext();
    assert.deepEqual(await visit(context), ['1', '1', '1']);
    await install(2);
    // All files of the former version are in the browser's cache.
    assert.deepEqual(await visit(context), ['1', '1', '1']);
    // One module is no longer in the cache, as if the browser had dropped it, and the server
    // does not have it any more.
    const page = await context.newPage();
    await page.goto(url);
    await page.evaluate(() => fetch(performance.getEntriesByType('resource')
        .find(({ name }) => name.endsWith('/pause.js')).name, { cache: 'reload' }));
    assert.deepEqual(await visit(context), ['2', '2', '2']);
    assert.deepEqual(await visit(context), ['2', '2', '2']);
    await context.close();
});

test('A page whose files are missing on the server reloads once only', async () => {
    await install(1);
    const context = await browser.newContext();
    const page = await context.newPage();
    let visits = 0;
    page.on('request', (request) => { visits += request.isNavigationRequest(); });
    await page.route('**/pause.js', (route) => route.fulfill({ status: 404 }));
    await page.goto(url).catch(() => {}); // the reload may interrupt it
    await page.waitForFunction(() => document.readyState === 'complete' &&
        performance.getEntriesByType('navigation')[0].type === 'reload');
    await page.evaluate(() => new Promise((resolve) => { setTimeout(resolve, 0); }));
    assert.equal(visits, 2);
    await context.close();
});

test('The name of the folder depends on the content of its files', async () => {
    const names = [];
    for (const version of [1, 2, 1]) {
        await install(version);
        names.push((await readdir(join(folder, 'served/discovery')))
            .find((name) => name.startsWith('page-')));
    }
    assert.notEqual(names[0], names[1]);
    assert.equal(names[0], names[2]);
});
