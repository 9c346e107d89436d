// What is hard to bring about with real graphs: lost connections, refusals, races with what is typed. A mock server
// stands for the program.

import assert from 'node:assert/strict';
import { after, test } from 'node:test';
import { closeBrowser, eventually, openPage, rowOf, startMock } from './browser.mjs';

after(closeBrowser);

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
    await page.locator('#add-to').fill('somewhere');
    await page.getByRole('button', { name: 'Add', exact: true }).click();
    await page.locator('#add-form').getByText("'somewhere' is no address").waitFor();
    await page.route('**/graphs/1/run', (route) =>
        route.fulfill({ status: 409, json: { error: 'the input is gone' } }));
    await page.getByRole('button', { name: 'Run studio 1' }).click();
    await page.getByRole('alert').filter({ hasText: 'studio 1: the input is gone' }).waitFor();
});
