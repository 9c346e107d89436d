// Writes the page, its modules and the plots as the program serves them into dist/, or into the directory that is given.
// No network, no other tools.

import { cp, mkdir, rm } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const dist = resolve(process.argv[2] ?? join(here, 'dist'));
const plots = dirname(createRequire(import.meta.url).resolve('uplot/package.json'));

await rm(dist, { recursive: true, force: true });
await mkdir(join(dist, 'assets'), { recursive: true });
await cp(join(here, 'index.html'), join(dist, 'index.html'));
await cp(join(here, 'assets'), join(dist, 'assets'), { recursive: true });
for (const [from, to] of [['dist/uPlot.esm.js', 'uPlot.esm.js'], ['dist/uPlot.min.css', 'uPlot.min.css'],
    ['LICENSE', 'uPlot.LICENSE.txt']]) {
    await cp(join(plots, from), join(dist, 'assets', to));
}
