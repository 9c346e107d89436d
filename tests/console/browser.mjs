// A browser on the console's page, for tests, and what its user does there.

import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { MockServer } from './mock_server.mjs';

const require = createRequire(new URL('../../host/console/web/package.json', import.meta.url));
const { chromium } = require('playwright-core');

const axeFile = require.resolve('axe-core/axe.min.js');
// A superuser's browser needs to do without its sandbox. None of its own traffic.
const kSwitches = ['--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync'];
export const kPatienceMs = 30000;

let browser;

/**
 * Opens the page in a fresh browser context, with the function `before` run in it ahead of its own scripts. Complaints of
 * the page (errors, breaches of its policy) fail the test.
 */
export async function openPage(test, url, options = {}) {
    const { width = 1600, height = 1000, scheme = 'light', path = '/', before } = options;
    browser ??= chromium.launch({
        executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: kSwitches, timeout: 120000,
    });
    const context = await (await browser).newContext({ viewport: { width, height }, colorScheme: scheme });
    if (before) await context.addInitScript(before);
    const page = await context.newPage();
    page.setDefaultTimeout(kPatienceMs);
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

/** Asks until `condition` gives something true; fails with `what` when the patience is over. */
export async function eventually(what, condition) {
    const deadline = Date.now() + kPatienceMs;
    while (Date.now() < deadline) {
        const result = await condition();
        if (result) return result;
        await new Promise((resolve) => setTimeout(resolve, 50));
    }
    assert.fail(`never came: ${what}`);
}

export const rowOf = (page, name) =>
    page.getByRole('row').filter({ has: page.getByRole('button', { name, exact: true }) });

/** The page shows a plot's figure in words beside it: now, and what it was in the last ten minutes. */
export const plotOf = (page, title) =>
    page.locator('figure').filter({ has: page.locator('strong').getByText(title, { exact: true }) });

export async function addGraph(page, { kind, name, input, to }) {
    await page.getByRole('button', { name: 'Add graph' }).click();
    await page.getByLabel('Kind', { exact: true }).first().selectOption(kind);
    await page.getByLabel('Name').fill(name);
    await page.locator('#add-input').fill(input);
    if (to) await page.locator('#add-to').fill(to);
    if (kind === 'send') await page.getByLabel('Begin again at the end').check();
    await page.getByRole('button', { name: 'Add', exact: true }).click();
    await page.getByRole('heading', { name, exact: true }).waitFor();
}

/** Presses Tab until the control has the focus. */
export async function tabTo(page, control) {
    const hasFocus = (node) => node === document.activeElement;
    for (let presses = 0; presses < 100; ++presses) {
        if (await control.evaluate(hasFocus)) return;
        await page.keyboard.press('Tab');
    }
    assert.fail(`Tab never reached ${control}`);
}

/** What axe-core finds wrong in the page as it stands, and how far it is too wide for its window. */
export async function faultsOf(page) {
    await page.evaluate(await readFile(axeFile, 'utf8'));
    const { violations } = await page.evaluate(() => window.axe.run());
    const faults = violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).join(' ')}`);
    const excess = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
    return excess > 0 ? [...faults, `${excess} pixels too wide`] : faults;
}
