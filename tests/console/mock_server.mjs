// Serves the console's page and its interface over figures of mock_world.mjs. Run by itself, it listens on
// 127.0.0.1:8090 (PORT in the environment is another) for looking at the page.

import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { Refusal, World } from './mock_world.mjs';

const kDist = process.env.MCGATE_CONSOLE_DIST === undefined ? new URL('../../host/console/web/dist/', import.meta.url)
    : pathToFileURL(`${process.env.MCGATE_CONSOLE_DIST}/`);
const kTypes = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript', '.css': 'text/css',
    '.svg': 'image/svg+xml', '.txt': 'text/plain' };
const kHeaders = {
    'Content-Security-Policy': "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; " +
        "connect-src 'self'; form-action 'none'; base-uri 'none'; frame-ancestors 'none'",
    'X-Content-Type-Options': 'nosniff', 'Referrer-Policy': 'no-referrer', 'Cache-Control': 'no-store',
};

async function bodyOf(request) {
    const parts = [];
    for await (const part of request) parts.push(part);
    return Buffer.concat(parts);
}

/** `options`: port (0: any), accessToken (null: none wanted), pageToken, streams (of events, at most), examples. */
export class MockServer {
    #server;
    #streams = new Set();
    #timer;
    #saved = {};

    constructor(options = {}) {
        this.options = { port: 0, accessToken: null, pageToken: 'page-token', streams: 16, examples: true, ...options };
        this.world = new World((event, data) => this.#tell(event, data));
        if (this.options.examples) this.world.addExamples();
        this.#server = createServer((request, response) => this.#handle(request, response));
    }

    async start() {
        await new Promise((resolve) => this.#server.listen(this.options.port, '127.0.0.1', resolve));
        this.#timer = setInterval(() => this.world.turn(), 1000);
        this.port = this.#server.address().port;
        this.url = `http://127.0.0.1:${this.port}`;
        return this;
    }

    async stop() {
        clearInterval(this.#timer);
        const closed = new Promise((resolve) => this.#server.close(resolve));
        this.#server.closeAllConnections();
        await closed;
    }

    #tell(event, data) {
        for (const stream of this.#streams) stream.write(`event: ${event}\ndata: ${JSON.stringify(data)}\n\n`);
    }

    async #handle(request, response) {
        try {
            const url = new URL(request.url, 'http://mock');
            const answer = await this.#answer(request, url, response);
            if (answer === undefined) return;
            const { status = 200, type = 'application/json', headers = {}, body } = answer;
            response.writeHead(status, { ...kHeaders, 'Content-Type': type, ...headers }).end(body);
        } catch (error) {
            const status = error instanceof Refusal ? error.status : 500;
            response.writeHead(status, { ...kHeaders, 'Content-Type': 'application/json' })
                .end(JSON.stringify({ error: error.message }));
        }
    }

    async #answer(request, { pathname, searchParams }, response) {
        if (request.method === 'GET' && !pathname.startsWith('/api/')) return this.#file(pathname);
        if (request.method !== 'GET' && request.headers['x-mcgate-token'] !== this.options.pageToken) {
            throw new Refusal(403, 'the page token is not that of this program; right would be that of a fresh page');
        }
        const { accessToken } = this.options;
        if (pathname === '/login') {
            const { token } = JSON.parse(await bodyOf(request));
            if (token !== accessToken) throw new Refusal(401, 'the access token is wrong');
            return { headers: { 'Set-Cookie': `mcgate_access=${accessToken}; HttpOnly; SameSite=Strict` }, body: '{}' };
        }
        if (accessToken !== null && request.headers.cookie !== `mcgate_access=${accessToken}`) {
            throw new Refusal(401, 'the access token is missing or wrong');
        }
        if (pathname === '/api/events') return this.#openStream(response);
        const json = (value, status = 200) => ({ status, body: JSON.stringify(value) });
        const body = request.method === 'GET' ? null : await bodyOf(request);
        const stream = /^\/api\/graphs\/(\d+)\/stream\/(sender|receiver)$/.exec(pathname);
        if (stream) return this.#stream(this.world.get(Number(stream[1])), stream[2], body);
        const value = body === null ? null : JSON.parse(body);
        if (pathname === '/api/log') {
            return json({ lines: this.world.lines.filter((line) => line.seq > Number(searchParams.get('after'))) });
        }
        if (pathname === '/api/profile') {
            if (value !== null) this.#saved = value;
            return json(value === null ? { graphs: this.world.json().graphs.map(({ name }) => ({ name })) } : {});
        }
        if (pathname === '/api/graphs') {
            return value !== null ? json(this.world.add(value).json(), 201)
                : json({ ...this.world.json(), version: '0.1.0', limits: { graphs: 64 } });
        }
        return json(this.#graph(pathname, value));
    }

    #graph(pathname, value) {
        const [, , , id, what, number, part, control] = pathname.split('/');
        const graph = this.world.get(Number(id));
        if (what === 'remove') return this.world.remove(graph.id) ?? {};
        if (what === 'history') return { start: Math.floor(Date.now() / 1000) - 599, step: 1, series: graph.history };
        if (what !== 'pages') return this.world.command(graph.id, what).json();
        const page = this.world.page(graph.id, Number(number));
        if (part === 'controls') page.set(Number(control), value);
        if (part === 'command' && value.control === 1005) page.apply();
        if (part !== undefined) this.world.changed(graph.id, page);
        return page.json();
    }

    #stream(graph, filter, body) {
        const type = 'application/octet-stream';
        const { to, from } = graph;
        if (body === null) return { type, body: `mock ${filter}\n${JSON.stringify({ to, from })}` };
        const [head, rest] = body.toString().split('\n');
        if (head !== `mock ${filter}`) {
            throw new Refusal(422, `the file is no stream of a ${filter}: it begins with '${head.slice(0, 20)}'`);
        }
        Object.assign(graph, JSON.parse(rest));
        return { body: JSON.stringify(graph.json()) };
    }

    #openStream(response) {
        if (this.#streams.size >= this.options.streams) {
            throw new Refusal(503, `${this.#streams.size} event streams are served; right would be fewer pages`);
        }
        response.writeHead(200, { ...kHeaders, 'Content-Type': 'text/event-stream' });
        response.write(': open\n\n');
        this.#streams.add(response);
        response.on('close', () => this.#streams.delete(response));
    }

    async #file(pathname) {
        const name = pathname === '/' ? 'index.html' : pathname.slice(1);
        try {
            if (!/^(index\.html|assets\/[\w.]+)$/.test(name)) throw new Error(name);
            const bytes = await readFile(new URL(name, kDist));
            const text = bytes.toString().replace('@MCGATE_TOKEN@', this.options.pageToken);
            return { type: kTypes[extname(name)], body: text };
        } catch {
            throw new Refusal(404, `${pathname} does not exist`);
        }
    }
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
    const server = await new MockServer({ port: Number(process.env.PORT ?? 8090) }).start();
    console.log(`The page with made-up figures: ${server.url}`);
}
