// The page in a real browser, served by a PageServer. Of every page it is watched what it
// does besides what a test looks at.

import assert from 'node:assert/strict';
import { after, afterEach, before } from 'node:test';

import { chromium } from 'playwright-core';

import { PageServer } from './page_server.js';

// Without the sandbox, which needs another user than root; and without the browser's own
// traffic: nothing is to be asked for but the page.
const kFlags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
    '--host-resolver-rules=MAP * 127.0.0.1'];
// More than the longest pause between two readings in which nothing is wrong.
const kOverAPauseMs = 6000;

// Collects what went wrong in a page by itself: errors, refusals, requests to elsewhere.
// That the server does not answer is no complaint: some tests are about that.
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

    // Adds a browser and a server to the tests of a file. After each test, no page may
    // have given cause for complaint.
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

    // Opens the page, not yet waiting for anything. `storage` is what an earlier visit has
    // stored, `script` runs before the page's own, the rest goes to the browser's context.
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

    // Opens the page on a list, and waits until that is shown.
    async openOn(list, options) {
        this.server.list = list;
        const page = await this.open(options);
        await waitForText(page, '#last-read', /^Last read at /);
        return page;
    }

    // What of a page's complaints a test has brought about on purpose.
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

// Waits until the element's text is like that.
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

// Lets the pause pass, and waits for a notice like that.
export async function failAgain(page, pattern) {
    await page.clock.fastForward(kOverAPauseMs);
    await waitForText(page, '#notice', pattern);
}

export function textsOf(page, selector) {
    return page.locator(selector).allTextContents();
}
