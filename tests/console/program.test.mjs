// An operator's stories: the page in a browser, the program, its graphs and their traffic on the loopback interface.

import assert from 'node:assert/strict';
import { after, test } from 'node:test';
import { addGraph, closeBrowser, eventually, faultsOf, openPage, plotOf, rowOf, tabTo } from './browser.mjs';
import { startProgram } from './program.mjs';

after(closeBrowser);

const urlOf = (group) => `udp://${group}:5004?local=127.0.0.1`;
const kStudio = { kind: 'send', name: 'studio 1', input: 'studio1.ts', to: urlOf('239.255.60.1') };
const kMonitor = { kind: 'receive', name: 'monitor 1', input: urlOf('@239.255.60.1') };

const fieldOf = (page, label) => page.getByLabel(label, { exact: true });
const dataStateOf = (page) => page.locator('[id$="-1007"]');

async function bring(page, name, action, state) {
    await page.getByRole('button', { name: `${action} ${name}`, exact: true }).click();
    await rowOf(page, name).getByText(state, { exact: true }).waitFor();
}

async function apply(page, texts) {
    for (const [label, text] of Object.entries(texts)) await fieldOf(page, label).fill(text);
    await page.locator('[id$="-1005"]').click();
    await page.getByText('Handed to the filter at').waitFor();
}

/** Pixels of a plot that its line or the area below it covers: the only ones that are blue. */
const coveredIn = (plot) => plot.locator('canvas').evaluate((canvas) => {
    const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    let covered = 0;
    for (let at = 0; at < data.length; at += 4) covered += data[at + 3] > 20 && data[at + 2] - data[at] > 60;
    return covered;
});

test('a stream is set up, moved to another group and pulled by the page, and its profile brings it back', async (t) => {
    const program = await startProgram(t, ['studio1.ts'], 'studio.json');
    const page = await openPage(t, program.url);
    await addGraph(page, kStudio);
    await addGraph(page, kMonitor);
    const monitor = rowOf(page, kMonitor.name);
    const datagrams = plotOf(page, 'Datagrams');
    const flows = async () => {
        await monitor.getByText('Data present').waitFor();
        await dataStateOf(page).getByText('Data present').waitFor();
        await datagrams.getByText(/^[1-9]\d* per second$/).waitFor();
    };
    await datagrams.locator('canvas').waitFor();
    assert.equal(await coveredIn(datagrams), 0);
    await bring(page, 'monitor 1', 'Run', 'Running');
    await bring(page, 'studio 1', 'Run', 'Running');
    await flows();
    const covered = await eventually('the plot', () => coveredIn(datagrams));
    await eventually('the plot to move', async () => await coveredIn(datagrams) > covered);

    await apply(page, { 'Group or address': '239.255.60.2', Source: '', 'Time-out (ms)': '1000' });
    await page.locator('#facts').getByText(urlOf('@239.255.60.2')).waitFor();
    await monitor.getByText('No data').waitFor();
    await page.getByRole('button', { name: 'studio 1', exact: true }).click();
    await apply(page, { 'Send to address 1': '239.255.60.2' });
    await bring(page, 'studio 1', 'Stop', 'Stopped');
    await bring(page, 'studio 1', 'Run', 'Running');  // a sender's change acts at the next run
    await page.getByRole('button', { name: 'monitor 1', exact: true }).click();
    await flows();

    await bring(page, 'studio 1', 'Stop', 'Stopped');
    const isPulled = async () => {
        await monitor.getByText('No data').waitFor();
        await dataStateOf(page).getByText('No data').waitFor();
        await plotOf(page, 'Data state').getByText('No data').waitFor();
        await datagrams.getByText(/^0 per second$/).waitFor();
        await page.locator('#log-lines li').filter({ hasText: 'monitor 1' }).getByText('No data').last().waitFor();
        await eventually('the title', async () => await page.title() === '1 without data - mcgate');
    };
    await isPulled();
    await page.reload();
    await isPulled();
    assert.equal(await fieldOf(page, 'Group or address').inputValue(), '239.255.60.2');
    await eventually('the plot that was before', async () => await coveredIn(datagrams) > covered);

    await bring(page, 'studio 1', 'Run', 'Running');
    await flows();
    const whole = await coveredIn(datagrams);
    await page.getByRole('button', { name: 'Save profile' }).click();
    await page.getByText('The profile is saved.').waitFor();
    assert.equal(await program.stop(), 0);
    await page.getByText(/^Connection lost/).waitFor();
    await program.start('studio.json');
    await page.getByText('Connected', { exact: true }).waitFor();
    await eventually('a new plot', async () => await coveredIn(datagrams) < whole);
    await flows();
    const group = fieldOf(page, 'Group or address');
    await eventually('the saved group', async () => await group.inputValue() === '239.255.60.2');
});

test('a filter\'s settings are saved to a file and loaded from it', async (t) => {
    const program = await startProgram(t, [], 'studio.json');
    const page = await openPage(t, program.url);
    await addGraph(page, kMonitor);
    const download = page.waitForEvent('download');
    await page.getByRole('button', { name: 'Save receiver settings' }).click();
    const file = await (await download).path();
    await apply(page, { 'Group or address': '239.255.60.9' });
    await page.getByLabel('Stream file for the receiver').setInputFiles(file);
    const group = fieldOf(page, 'Group or address');
    await eventually('the saved group', async () => await group.inputValue() === '239.255.60.1');
    await page.getByLabel('Stream file for the receiver').setInputFiles(import.meta.filename ?? process.argv[1]);
    await page.getByText(/^this is no saved configuration/).waitFor();
});

test('everything is done by keyboard alone', async (t) => {
    const program = await startProgram(t, [], 'studio.json');
    const page = await openPage(t, program.url);
    const { keyboard } = page;
    const button = (name) => page.getByRole('button', { name, exact: true });
    const press = async (control, key = 'Enter') => {
        await tabTo(page, control);
        await keyboard.press(key);
    };
    const type = async (control, text) => {
        await press(control, 'Control+a');
        await keyboard.type(text);
    };
    await press(button('Add graph'));
    await keyboard.press('ArrowDown');
    await type(page.getByLabel('Name'), 'monitor 1');
    await type(page.locator('#add-input'), kMonitor.input);
    await press(fieldOf(page, 'Start'), 'p');
    await type(fieldOf(page, 'No data after (ms)'), '2500');
    await keyboard.press('Enter');
    await rowOf(page, 'monitor 1').getByText('Paused').waitFor();
    assert.equal(await fieldOf(page, 'Time-out (ms)').inputValue(), '2500');
    await press(button('Run monitor 1'), 'Space');
    await rowOf(page, 'monitor 1').getByText('Running').waitFor();

    await press(page.getByRole('combobox', { name: 'Local interface' }), 'ArrowDown');
    await keyboard.press('ArrowDown');
    await keyboard.press('Enter');
    await type(fieldOf(page, 'Port'), '5006');
    await press(button('Apply'));
    await page.locator('#facts').getByText('udp://@239.255.60.1:5006', { exact: true }).waitFor();

    const [datagrams, rate] = ['Datagrams', 'Bit rate'].map((title) => plotOf(page, title).locator('.reading'));
    const moment = async (reading) => /^\d\d:\d\d:\d\d /.exec(await reading.textContent())?.[0];
    await press(page.getByRole('slider', { name: 'Datagrams at a moment' }), 'ArrowLeft');
    const first = await moment(datagrams);
    await keyboard.press('ArrowLeft');
    const second = await moment(datagrams);
    assert.ok(first && second && first !== second, `${first} and ${second}`);
    assert.equal(await moment(rate), second);
    await keyboard.press('Tab');
    assert.notEqual(await moment(datagrams), second);

    await press(page.getByRole('link', { name: 'Skip to the log' }));
    assert.equal(await page.evaluate(() => document.activeElement.id), 'log');
    await press(button('Remove monitor 1'));
    await keyboard.press('Escape');
    await press(button('Remove monitor 1'));
    await press(page.locator('#confirm-yes'));
    await page.getByText('No graph yet.').waitFor();
});

test('the page fits its window and has what a screen reader needs, light and dark', async (t) => {
    const program = await startProgram(t, ['studio1.ts'], 'studio.json');
    for (const [width, scheme] of [[1600, 'light'], [360, 'dark']]) {
        const page = await openPage(t, program.url, { width, scheme, path: '/#graph-2' });
        if (scheme === 'light') {
            await addGraph(page, kStudio);
            await addGraph(page, kMonitor);
            await bring(page, 'studio 1', 'Run', 'Running');
            await bring(page, 'monitor 1', 'Run', 'Running');
        }
        await rowOf(page, 'monitor 1').getByText('Data present').waitFor();
        await dataStateOf(page).getByText('Data present').waitFor();
        await page.getByRole('button', { name: 'Add graph' }).click();
        assert.deepEqual(await faultsOf(page), [], scheme);
        await page.getByRole('button', { name: 'Remove studio 1' }).click();
        assert.deepEqual(await faultsOf(page), [], `a question, ${scheme}`);
    }
});
