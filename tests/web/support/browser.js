// A real browser, that says of every page what it did besides what a test looks at.

import { chromium } from 'playwright-core';

// Without the sandbox, which needs another user than root; and without the browser's own
// traffic: nothing is to be asked for but the page.
const kFlags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
    '--host-resolver-rules=MAP * 127.0.0.1'];

export function launchBrowser() {
    return chromium.launch({ executablePath: '/usr/bin/chromium', args: kFlags });
}

// What went wrong in a page by itself: errors, refused markup, requests to elsewhere.
// A server that a test takes away, or has answer with an error, shows as lines of the
// network and does not count.
export function watchFor(page, server) {
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
        const { hostname } = new URL(server.url());
        if (new URL(request.url()).host !== new URL(page.url()).host && page.url() !== 'about:blank') {
            complaints.push(`request: ${request.url()} (${hostname})`);
        }
    });
    return complaints;
}
