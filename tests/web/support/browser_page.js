// The page in a real browser, served by a PageServer. After each test, no page may have had an
// error, a warning, a dialog, or a request to another server.

import assert from 'node:assert/strict';
import { after, afterEach, before } from 'node:test';

import { chromium } from 'playwright-core';

import { PageServer } from './page_server.js';

// Without the sandbox, which does not work for root, and without the browser's own requests:
// only the page may cause requests.
const kFlags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
    '--host-resolver-rules=MAP * 127.0.0.1'];
// Longer than the pause after a successful reading.
const kOverAPauseMs = 6000;

// Collects the faults of a page: errors, warnings, dialogs, and requests to other servers. A
// failed request to the page's server is not one of them: some tests cause it.
function complaintsOf(page, origin) {
    const complaints = [];
    page.on('pageerror', (error) => complaints.push(`error: ${error.message}`));
    page.on('dialog', (dialog) => {
        complaints.push(`dialog: ${dialog.message()}`);
        dialog.dismiss();
    });
    page.on('console', (message) => {
        if (['error', 'warning'].includes(message.type()) &&
            !message.text().startsWith('Failed to load resource:')) {
            complaints.push(`console: ${message.text()}`);
        }
    });
    page.on('request', (request) => {
        if (new URL(request.url()).origin !== origin) {
            complaints.push(`request: ${request.url()}`);
        }
    });
    return complaints;
}

export class BrowserPages {
    server = new PageServer();

    #browser;
    #opened = [];

    // Adds a browser and a server to the tests of a file. After each test, fails if a page had
    // a fault.
    constructor() {
        before(async () => {
            await this.server.start();
            this.#browser = await chromium.launch({
                executablePath: '/usr/bin/chromium', args: kFlags,
            });
        });
        after(async () => {
            await this.#browser.close();
            await this.server.stop();
        });
        afterEach(() => this.#closeAll());
    }

    // Opens the page without waiting for a list. `storage` has the values that an earlier visit
    // stored, `script` runs before the page's own scripts; other options are passed to the
    // browser's context.
    async open({ host = '127.0.0.1', storage = {}, script, ...options } = {}) {
        const context = await this.#browser.newContext({
            viewport: { width: 1280, height: 800 }, ...options,
        });
        const page = await context.newPage();
        const complaints = complaintsOf(page, new URL(this.server.url(host)).origin);
        this.#opened.push({ context, complaints });
        await page.clock.install();
        await page.addInitScript((stored) => {
            if (sessionStorage.length === 0) {
                Object.assign(localStorage, stored);
                sessionStorage.setItem('visited', 'yes');
            }
        }, storage);
        if (script) {
            await page.addInitScript(script);
        }
        await page.goto(this.server.url(host));
        return page;
    }

    // Opens the page with a list, and waits until the list is shown.
    async openOn(list, options) {
        this.server.list = list;
        const page = await this.open(options);
        await waitForText(page, '#last-read', /^Last read at /);
        return page;
    }

    // Forgets the faults so far that match the pattern: the test has caused them deliberately.
    forgive(page, pattern) {
        const { complaints } = this.#opened.find(({ context }) => context === page.context());
        const others = complaints.filter((each) => !pattern.test(each));
        complaints.splice(0, complaints.length, ...others);
    }

    async #closeAll() {
        const opened = this.#opened.splice(0);
        await Promise.all(opened.map(({ context }) => context.close()));
        Object.assign(this.server, { list: '[]', modified: new Date(), answer: null, reads: [] });
        for (const { complaints } of opened) {
            assert.deepEqual(complaints, []);
        }
    }
}

// Waits until the element's text matches the pattern.
export async function waitForText(page, selector, pattern) {
    await page.waitForFunction(([where, source]) =>
        new RegExp(source, 'u').test(document.querySelector(where).textContent),
    [selector, pattern.source]);
}

// Lets the pause pass, and waits until the list has been read once more.
export async function readAgain(page) {
    const earlier = await page.textContent('#last-read');
    await page.clock.fastForward(kOverAPauseMs);
    await page.waitForFunction((text) =>
        document.getElementById('last-read').textContent !== text, earlier);
}

// Lets the pause pass, and waits for a notice that matches the pattern.
export async function failAgain(page, pattern) {
    await page.clock.fastForward(kOverAPauseMs);
    await waitForText(page, '#notice', pattern);
}

export function textsOf(page, selector) {
    return page.locator(selector).allTextContents();
}
