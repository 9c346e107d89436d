// What an operator does with the console: the same story against the program or a mock server.

import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { after, test } from 'node:test';
import { axeFile, closeBrowser, eventually, inputFile, openPage, programUrl, startMock } from './browser.mjs';

const kPort = 5443;
const kUrl = (group) => `${group}:${kPort}?local=127.0.0.1`;

after(closeBrowser);

async function addGraph(page, { kind, name, input, to }) {
    await page.getByRole('button', { name: 'Add graph' }).click();
    await page.getByLabel('Kind', { exact: true }).first().selectOption(kind);
    await page.getByLabel('Name').fill(name);
    await page.locator('#add-input').fill(input);
    if (to) await page.getByLabel('Destinations').fill(to);
    if (kind === 'send') await page.getByLabel('Begin again at the end').check();
    await page.getByRole('button', { name: 'Add', exact: true }).click();
    await page.getByRole('heading', { name, exact: true }).waitFor();
}

const rowOf = (page, name) => page.getByRole('row').filter({ has: page.getByRole('button', { name, exact: true }) });

async function remove(page, name) {
    await page.getByRole('button', { name: `Remove ${name}` }).click();
    await page.getByRole('button', { name: 'Remove', exact: true }).click();
    await rowOf(page, name).waitFor({ state: 'detached' });
}

test('a receiver follows its group from the page, and all is there after a reload', async (t) => {
    const page = await openPage(t, programUrl ?? (await startMock(t, { examples: false })).url);
    const [sender, receiver] = ['test send', 'test receive'];
    await addGraph(page, { kind: 'send', name: sender, input: inputFile, to: `udp://${kUrl('239.255.43.1')}` });
    await addGraph(page, { kind: 'receive', name: receiver, input: `udp://@${kUrl('239.255.43.1')}` });
    for (const name of [receiver, sender]) await page.getByRole('button', { name: `Run ${name}` }).click();
    const properties = page.getByRole('region', { name: 'Receive Properties' });
    await rowOf(page, receiver).getByText('Data present').waitFor();
    await properties.getByText('Data present').waitFor();

    const datagrams = page.locator('figure', { hasText: 'Datagrams' }).locator('.reading');
    await eventually('datagrams in the plot', async () => /[1-9]/.test(await datagrams.textContent()));
    const shot = () => page.locator('figure canvas').first().screenshot();
    const before = await shot();
    await eventually('a plot that moves', async () => !before.equals(await shot()));

    // The loopback interface is in no list, so its address is typed; a text that is sent goes into the same apply.
    const apply = async (group) => {
        await properties.getByRole('combobox', { name: 'Interface' }).fill('127.0.0.1');
        await properties.getByLabel('Time-out').fill('1000');
        await properties.getByLabel('Group').fill(group);
        await properties.getByRole('button', { name: 'Apply' }).click();
    };
    await apply('239.255.43.2');
    await rowOf(page, receiver).getByText('No data').waitFor();
    await properties.getByText('No data').waitFor();
    await page.locator('#log-lines li').filter({ hasText: receiver }).first().waitFor();
    await apply('239.255.43.1');
    await rowOf(page, receiver).getByText('Data present').waitFor();

    await page.reload();
    await page.getByRole('heading', { name: receiver, exact: true }).waitFor();
    await eventually('the group after a reload', async () =>
        await properties.getByLabel('Group').inputValue() === '239.255.43.1');
    for (const name of [receiver, sender]) await page.getByRole('button', { name: `Stop ${name}` }).click();
    await rowOf(page, sender).getByText('Stopped').waitFor();
    for (const name of [receiver, sender]) await remove(page, name);
});

test('the settings of a filter go to a file and come back, and a wrong file is refused with a reason', async (t) => {
    const page = await openPage(t, programUrl ?? (await startMock(t, { examples: false })).url);
    await addGraph(page, { kind: 'receive', name: 'test keep', input: `udp://@${kUrl('239.255.43.3')}` });
    const download = page.waitForEvent('download');
    await page.getByRole('button', { name: 'Save receiver settings' }).click();
    const file = await (await download).path();
    const section = page.getByRole('region', { name: 'Persisted settings' });
    await section.getByText('Saved as test keep.receiver.stream').waitFor();
    const choose = async (chosen) => {
        const chooser = page.waitForEvent('filechooser');
        await page.getByRole('button', { name: 'Load receiver settings' }).click();
        await (await chooser).setFiles(chosen);
    };
    await choose(axeFile);
    await eventually('a reason', async () => (await section.getByRole('alert').textContent()) !== '');
    await choose({ name: 'kept', mimeType: 'application/octet-stream', buffer: await readFile(file) });
    await section.getByText('Loaded kept').waitFor();
    await remove(page, 'test keep');
});

for (const [width, scheme] of [[1600, 'light'], [360, 'dark']]) {
    test(`nothing hinders a screen reader or overflows at ${width} pixels, ${scheme}`, async (t) => {
        const { url } = await startMock(t);
        const page = await openPage(t, url, { width, scheme, path: '/#graph-3' });
        await page.locator('figure canvas').first().waitFor();
        await page.getByRole('button', { name: 'Add graph' }).click();
        await page.getByRole('combobox', { name: 'Interface', exact: true }).press('ArrowDown');
        // From outside the page's world, as its policy forbids foreign scripts.
        await page.evaluate(await readFile(axeFile, 'utf8'));
        const { violations } = await page.evaluate(() => globalThis.axe.run());
        assert.deepEqual(violations.map(({ id, nodes }) => [id, nodes.map((node) => node.html)]), []);
        assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
    });
}

test('the interface is chosen and applied by keys alone', async (t) => {
    const { url, world } = await startMock(t);
    const page = await openPage(t, url, { path: '/#graph-2' });
    const field = page.getByRole('combobox', { name: 'Interface', exact: true });
    await field.focus();
    for (const key of ['ArrowDown', 'ArrowUp', 'Enter']) await page.keyboard.press(key);
    await eventually('the choice in the model', () => world.page(2, 0).find(1002).selection === 0);
    assert.equal(await field.inputValue(), '192.168.10.5');
    await page.getByLabel('Port', { exact: true }).focus();
    await page.keyboard.press('Control+A');
    await page.keyboard.type('6000');
    await page.getByRole('button', { name: 'Apply' }).press('Enter');
    await eventually('the port in the filter', () => world.get(2).from.port === 6000);
    assert.equal(world.get(2).from.local, '192.168.10.5');
});

test('what the filter changes shows at once, except in the field that is being typed in', async (t) => {
    const { url, world } = await startMock(t);
    const page = await openPage(t, url, { path: '/#graph-2' });
    await page.clock.install();
    const [port, group] = ['Port', 'Group or address'].map((label) => page.getByLabel(label, { exact: true }));
    await eventually('the page', async () => await port.inputValue() === '5004');
    await page.clock.pauseAt(Date.now() + 60000);  // what is typed now waits to be sent
    await port.fill('7000');
    const receiver = world.page(2, 0);
    receiver.set(1003, { text: '1' });
    receiver.set(1004, { text: '239.255.99.9' });
    world.changed(2, receiver);
    await eventually('the group of the filter', async () => await group.inputValue() === '239.255.99.9');
    assert.equal(await port.inputValue(), '7000');
    await page.clock.resume();
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

    await page.getByRole('button', { name: 'Add graph' }).click();
    await page.getByLabel('Name').fill('bad');
    await page.locator('#add-input').fill('/streams/a.ts');
    await page.getByLabel('Destinations').fill('somewhere');
    await page.getByRole('button', { name: 'Add', exact: true }).click();
    await page.locator('#add-form').getByText("'somewhere' is no address").waitFor();
    await page.route('**/graphs/1/run', (route) =>
        route.fulfill({ status: 409, json: { error: 'the input is gone' } }));
    await page.getByRole('button', { name: 'Run studio 1' }).click();
    await page.getByRole('alert').filter({ hasText: 'studio 1: the input is gone' }).waitFor();
});
