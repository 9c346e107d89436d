// A browser on the console's page, for tests: the program's if MCGATE_CONSOLE_URL names one, else that of a mock
// server.

import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import { MockServer } from './mock_server.mjs';

const require = createRequire(new URL('../../host/console/web/package.json', import.meta.url));
const { chromium } = require('playwright-core');

export const axeFile = require.resolve('axe-core/axe.min.js');
export const programUrl = process.env.MCGATE_CONSOLE_URL;

/** A transport stream file that the program can read. */
export const inputFile = process.env.MCGATE_CONSOLE_INPUT ?? '/streams/test.ts';

let browser;

/** Opens the page in a fresh browser context. Complaints of the page (errors, breaches of its policy) fail the test. */
export async function openPage(test, url, { width = 1600, height = 1000, scheme = 'light', path = '/' } = {}) {
    browser ??= chromium.launch({
        executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: ['--no-sandbox', '--disable-dev-shm-usage'],
    });
    const context = await (await browser).newContext({ viewport: { width, height }, colorScheme: scheme });
    const page = await context.newPage();
    page.setDefaultTimeout(15000);
    const complaints = [];
    page.on('pageerror', (error) => complaints.push(error.message));
    page.on('console', (message) => {
        const expected = /Failed to load resource|ERR_/.test(message.text());  // lost connections and refusals
        if (message.type() === 'error' && !expected) complaints.push(message.text());
    });
    test.after(async () => {
        await context.close();
        assert.deepEqual(complaints, []);
    });
    await page.goto(url + path);
    return page;
}

export async function closeBrowser() {
    await (await browser)?.close();
}

/** A mock server for the length of a test. */
export async function startMock(test, options) {
    const server = await new MockServer(options).start();
    test.after(() => server.stop());
    return server;
}

/** Asks until `condition` gives something true; fails after ten seconds with `what`. */
export async function eventually(what, condition) {
    const deadline = Date.now() + 10000;
    while (Date.now() < deadline) {
        const result = await condition();
        if (result) return result;
        await new Promise((resolve) => setTimeout(resolve, 50));
    }
    assert.fail(`never came: ${what}`);
}
