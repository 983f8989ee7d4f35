// Takes the picture of the README: opens the page at an address, waits until a device has
// been added to the list, and writes a screenshot as PNG. scripts/picture.py starts it.

import { chromium } from 'playwright-core';

const kTimeLimitMs = 120000;

const [address, path] = process.argv.slice(2);
const browser = await chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu'],
});
const page = await browser.newPage({
    colorScheme: 'light', locale: 'en-GB', viewport: { width: 1000, height: 490 },
});
await page.goto(address);
await page.click('#history > summary');
await page.waitForSelector('#log > .came', { timeout: kTimeLimitMs });
await page.screenshot({ path });
await browser.close();
