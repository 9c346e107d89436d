// What is hard to bring about with real graphs: lost connections, refusals, races with what is typed. A mock server
// stands for the program.

import assert from 'node:assert/strict';
import { after, test } from 'node:test';
import { closeBrowser, eventually, openPage, rowOf, startMock } from './browser.mjs';

after(closeBrowser);

/** What is typed is sent a moment after the last key. Here that moment lasts until `endTyping` is called. */
function typeForLong() {
    const kDebounceMs = 400;
    const { setTimeout } = window;
    window.setTimeout = (callback, delayMs, ...rest) => {
        if (delayMs !== kDebounceMs) return setTimeout(callback, delayMs, ...rest);
        window.endTyping = callback;
        return 0;
    };
}

test('what the filter changes shows at once, except in the field that is being typed in', async (t) => {
    const { url, world } = await startMock(t);
    const page = await openPage(t, url, { path: '/#graph-2', before: typeForLong });
    const [port, group] = ['Port', 'Group or address'].map((label) => page.getByLabel(label, { exact: true }));
    await page.getByText('Connected', { exact: true }).waitFor();  // and all fetched anew, which sends what was typed
    await eventually('the page', async () => await port.inputValue() === '5004');
    await port.fill('7000');
    const receiver = world.page(2, 0);
    receiver.set(1003, { text: '1' });
    receiver.set(1004, { text: '239.255.99.9' });
    world.changed(2, receiver);
    await eventually('the group of the filter', async () => await group.inputValue() === '239.255.99.9');
    assert.equal(await port.inputValue(), '7000');
    await page.evaluate(() => window.endTyping());
    await eventually('the typed text in the model', () => receiver.text(1003) === '7000');
    receiver.set(1003, { text: '2' });
    world.changed(2, receiver);
    await eventually('the filter\'s text, now that all is sent', async () => await port.inputValue() === '2');
});

test('the page says that the connection is lost, comes back by itself, and takes the new token', async (t) => {
    const first = await startMock(t);
    const page = await openPage(t, first.url, { path: '/#graph-2' });
    const connection = page.locator('#connection');
    const port = page.getByLabel('Port', { exact: true });
    await eventually('the page', async () => await port.inputValue() === '5004');
    await first.stop();
    await eventually('the loss', async () => /^Connection lost/.test(await connection.textContent()));
    const second = await startMock(t, { port: first.port, pageToken: 'another' });
    second.world.page(2, 0).set(1003, { text: '5999' });
    await page.getByText('Connected', { exact: true }).waitFor();
    await eventually('the fields fetched anew', async () => await port.inputValue() === '5999');
    await page.getByRole('button', { name: 'Pause monitor 1' }).click();
    await eventually('the command', () => second.world.get(2).state === 'paused');
});

test('a page without the access token asks for it, and one above the limit of streams polls', async (t) => {
    const server = await startMock(t, { accessToken: 'right' });
    const page = await openPage(t, server.url);
    await page.locator('#login-token').press('Escape');
    await page.locator('#login-token').fill('wrong');
    await page.getByRole('button', { name: 'Log in' }).click();
    await page.getByText('the access token is wrong').waitFor();
    await page.locator('#login-token').fill('right');
    await page.locator('#login-token').press('Enter');
    await page.getByText('Connected', { exact: true }).waitFor();
    server.options.accessToken = 'another';  // the next turn of the plots meets it
    await page.locator('#login-token').waitFor();

    const full = await startMock(t, { streams: 0 });
    const other = await openPage(t, full.url);
    await other.getByText(/^Connected; refreshed every two seconds/).waitFor();
    full.world.command(1, 'stop');
    await rowOf(other, 'studio 1').getByText('Stopped').waitFor();
});

/** The page can be hidden by `setHidden`, and rests soon then. */
function restSoon() {
    const kRestAfterMs = 10000;
    const { setTimeout } = window;
    window.setTimeout = (callback, delayMs, ...rest) =>
        setTimeout(callback, delayMs === kRestAfterMs ? 100 : delayMs, ...rest);
    let hidden = false;
    Object.defineProperty(document, 'hidden', { get: () => hidden });
    window.setHidden = (value) => {
        hidden = value;
        document.dispatchEvent(new Event('visibilitychange'));
    };
}

test('a hidden page leaves its event stream to another, and takes it again when it is seen', async (t) => {
    const { url, world } = await startMock(t, { streams: 1 });
    const [page, other] = [await openPage(t, url, { before: restSoon }), await openPage(t, url)];
    await other.getByText(/^Connected; refreshed every two seconds/).waitFor();
    await page.evaluate(() => window.setHidden(true));
    await other.getByText('Connected', { exact: true }).waitFor();
    assert.equal(await page.locator('#connection').textContent(), 'Connected');
    await other.close();
    world.log(2, 'studio 1', 'log', 'told meanwhile');
    await page.evaluate(() => window.setHidden(false));
    await page.getByText('told meanwhile').waitFor();
    await page.getByText('Connected', { exact: true }).waitFor();
});

test('the log has the lines that were there before, though newer ones come first', async (t) => {
    const { url, world } = await startMock(t);
    const page = await openPage(t, url);
    await page.getByText('Connected', { exact: true }).waitFor();
    let held;
    await page.route('**/api/graphs', (route) => { held = route; });
    await page.reload();
    await eventually('the first question', () => held);
    world.log(2, 'studio 1', 'log', 'a newer line');
    await page.getByText('a newer line').waitFor();
    for (const line of world.lines.slice(0, 2)) line.time = '2026-01-31T12:00:00.000Z';
    await held.continue();
    await page.locator('#log-lines').getByText('no route to the host').waitFor();
    assert.equal(await page.locator('#log-lines li').count(), world.lines.length);
    const dates = page.locator('#log-lines .date:visible');
    assert.deepEqual([await dates.count(), await dates.first().textContent()], [2, 'Sat, 31 January 2026']);
    await page.locator('#log-level').selectOption({ label: 'Faults' });
    assert.equal(await dates.count(), 1);
});

test('the log is filtered by level, kind and graph, and a refusal is told where it arose', async (t) => {
    const { url, world } = await startMock(t);
    const page = await openPage(t, url);
    const lines = page.locator('#log-lines li');
    await page.locator('#log-level').selectOption({ label: 'Faults' });
    await eventually('faults alone', async () => await lines.count() === 1);
    world.log(0, 'studio 1', 'log', 'another fault');
    world.log(1, 'studio 1', 'log', 'a warning');
    await eventually('the new fault', async () => await lines.count() === 2);
    await page.locator('#log-graph').selectOption('studio 1');
    await eventually('one graph alone', async () => await lines.count() === 1);
    await page.locator('#log-level').selectOption({ label: 'All' });
    await page.locator('#log-kind').selectOption({ label: 'Buffer-full notices' });
    assert.match(await lines.first().textContent(), /pool was empty/);
    for (let pass = 0; pass < 1100; ++pass) world.log(2, 'studio 1', 'log', 'a pass of the file');
    await eventually('the passes', async () => /of 1\d\d\d lines/.test(await page.locator('#log-count').textContent()));
    assert.match(await lines.first().textContent(), /pool was empty/);

    await page.getByRole('button', { name: 'Add graph' }).click();
    await page.getByLabel('Hold-back (ms)').fill('20000');  // too much for a relay
    await page.locator('#add-kind').selectOption('relay');
    await page.getByLabel('Name').fill('bad');
    await page.locator('#add-input').fill('udp://@:5000');
    await page.locator('#add-to').fill('somewhere');
    const add = page.getByRole('button', { name: 'Add', exact: true });
    await add.click();
    assert.equal(await page.evaluate(() => document.activeElement.id), 'add-offset_ms');
    const sent = page.waitForRequest('**/api/graphs');
    await page.getByLabel('No data after (ms)').fill('1000');
    await page.getByLabel('Send the private').check();
    await add.click();
    assert.deepEqual((await sent).postDataJSON(), { name: 'bad', kind: 'relay', input: 'udp://@:5000',
        to: ['somewhere'], timeout_ms: 1000, private: true });
    await page.locator('#add-form').getByText("'somewhere' is no address").waitFor();
    await page.route('**/graphs/1/run', (route) =>
        route.fulfill({ status: 409, json: { error: 'the input is gone' } }));
    await page.getByRole('button', { name: 'Run studio 1' }).click();
    await page.getByRole('alert').filter({ hasText: 'studio 1: the input is gone' }).waitFor();
});
