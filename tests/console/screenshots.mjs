// Writes the pictures of docs/console: the program with some graphs that have run for some minutes, on a wide and on a
// narrow screen, light and dark. tests/console/browser.sh tests/console/screenshots.mjs [DIRECTORY [SECONDS]]

import { writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { closeBrowser, openPage, plotOf, rowOf } from './browser.mjs';
import { Program } from './program.mjs';

const directory = process.argv[2] ?? fileURLToPath(new URL('../../docs/console', import.meta.url));
const seconds = Number(process.argv[3] ?? 420);  // what the plots hold

const urlOf = (group) => `udp://${group}:5004?local=127.0.0.1`;
const kGraphs = [
    { name: 'studio 1', kind: 'send', input: 'studio1.ts', loop: true, to: [urlOf('239.255.10.1')] },
    { name: 'monitor 1', kind: 'receive', input: urlOf('@239.255.10.1'), timeout_ms: 1000 },
    { name: 'region north', kind: 'relay', input: urlOf('@239.255.10.1'), to: [urlOf('239.255.20.1')] },
    { name: 'studio 2', kind: 'send', input: 'studio2.ts', loop: true, to: [urlOf('239.255.10.2')] },
    { name: 'monitor 2', kind: 'receive', input: urlOf('@239.255.10.3') },
];

const hooks = [];
const test = { after: (hook) => hooks.push(hook) };
const wait = (duration) => new Promise((resolve) => setTimeout(resolve, 1000 * duration));
const program = await Program.prepare(['studio1.ts', 'studio2.ts'], 2 * seconds);

async function picture(name, { hash, ...view }, prepare = async () => {}) {
    const page = await openPage(test, program.url, { ...view, path: hash });
    await rowOf(page, 'monitor 1').getByText('Data present').waitFor();
    await plotOf(page, hash === '/#graph-1' ? 'Queue length' : 'Datagrams').getByText(/\d/).first().waitFor();
    await page.locator('#log-kind').selectOption('state');  // fewer lines make a smaller file
    await prepare(page);
    await page.mouse.move(0, 0);
    await page.screenshot({ path: join(directory, `${name}.png`), animations: 'disabled' });
}

try {
    await writeFile(join(program.directory, 'studio.json'), JSON.stringify({ graphs: kGraphs }));
    await program.start('studio.json');
    await wait(seconds / 2);
    const operator = await openPage(test, program.url, {});
    const press = (name) => operator.getByRole('button', { name, exact: true }).click();
    await press('Stop studio 1');  // a gap of some seconds, for the data state
    await wait(Math.min(25, seconds / 10));
    await press('Run studio 1');
    await wait(seconds / 2);
    for (const scheme of ['light', 'dark']) {
        await picture(`overview-1600-${scheme}`, { hash: '/#graph-2', scheme, height: 940 });
        await picture(`overview-360-${scheme}`, { hash: '/#graph-2', scheme, width: 360, height: 780 });
    }
    const scrollTo = (id) => (page) => page.locator(id).evaluate((node) => node.scrollIntoView());
    await picture('sender-1600-light', { hash: '/#graph-1', scheme: 'light', height: 860 });
    await picture('properties-360-light', { hash: '/#graph-2', scheme: 'light', width: 360, height: 780 },
        scrollTo('#detail'));
    await picture('plots-360-dark', { hash: '/#graph-2', scheme: 'dark', width: 360, height: 780 }, scrollTo('#plots'));
} finally {
    for (const hook of hooks) await hook();
    await program.stop();
    await program.remove();
    await closeBrowser();
}
