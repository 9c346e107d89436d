// The program itself with its console, in a directory of its own, for tests and pictures.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdtemp, rm } from 'node:fs/promises';
import { createServer } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { kPatienceMs } from './browser.mjs';

const kCommand = process.env.MCGATE_COMMAND ??
    fileURLToPath(new URL('../../build/release/bin/mcgate', import.meta.url));

/** A port that nobody has; somebody may take it before it is used. */
async function freePort() {
    const server = createServer();
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    const { port } = server.address();
    await new Promise((resolve) => server.close(resolve));
    return port;
}

export class Program {
    #child;
    #ended;
    said = '';

    /** `files`: the names of streams of about 2 Mbit/s that are made in its directory. */
    static async prepare(files, seconds = 10) {
        const program = new Program();
        program.directory = await mkdtemp(join(tmpdir(), 'mcgate-console-'));
        program.options = { cwd: program.directory,
            env: { ...process.env, MCGATE_REGISTRY: join(program.directory, 'registry') } };
        program.run('register');
        files.forEach((name, index) => program.run('generate', '--rate', String(2000000 + 500000 * index),
            '--duration', String(seconds), '--out', name));
        return program;
    }

    run(...args) {
        execFileSync(kCommand, args, this.options);
    }

    /** Serves the console; again at the same port, if it did so before. */
    async start(profile) {
        for (let attempt = 0; attempt < 5; ++attempt) {
            const port = this.port ?? await freePort();
            if (await this.#listens(profile, `127.0.0.1:${port}`)) {
                this.port = port;
                this.url = `http://127.0.0.1:${port}`;
                return;
            }
        }
        assert.fail(`the console did not start: ${this.said}`);
    }

    async #listens(profile, address) {
        const child = spawn(kCommand, ['console', profile, '--listen', address],
            { ...this.options, stdio: ['ignore', 'ignore', 'pipe'] });
        this.#child = child;
        this.#ended = new Promise((resolve) => child.on('close', (code, signal) => resolve(code ?? signal)));
        const listening = new Promise((resolve) => child.stderr.on('data', (bytes) => {
            this.said += bytes;
            if (this.said.includes(`http://${address}/`)) resolve(true);
        }));
        return Promise.race([listening, this.#ended.then(() => false)]);
    }

    /** Ends it as a service manager would; gives its exit status. */
    async stop() {
        this.#child.kill('SIGTERM');
        const timer = setTimeout(() => this.#child.kill('SIGKILL'), kPatienceMs);
        const status = await this.#ended;
        clearTimeout(timer);
        this.said = '';
        return status;
    }

    async remove() {
        await rm(this.directory, { recursive: true, force: true });
    }
}

/** The program for the length of a test, at the end of which it must end well. */
export async function startProgram(test, files, profile) {
    const program = await Program.prepare(files);
    test.after(async () => {
        const { said } = program;
        const status = await program.stop();
        await program.remove();
        assert.equal(status, 0, said);
    });
    await program.start(profile);
    return program;
}
