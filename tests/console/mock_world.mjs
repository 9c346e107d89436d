// Graphs that exist only as figures: enough of their behaviour for the console's page to be developed and tested
// without the program. A receiver has data while a running sender sends to its group and port.

const kHistory = 600;
const kInterfaces = ['192.168.10.5', '10.0.0.2', 'any', 'undefined'];
const kSeries = ['bit_rate', 'spacing_error_ms', 'hold_back_ms', 'queued_samples', 'datagrams', 'continuity_errors',
    'kernel_drops', 'data'];

export class Refusal extends Error {
    constructor(status, text) {
        super(text);
        this.status = status;
    }
}

function parseUrl(text) {
    const match = /^udp:\/\/(?:([\d.]*)@)?([\d.]*):(\d+)(?:\?local=([\d.]+))?$/.exec(text);
    if (!match) throw new Refusal(422, `'${text}' is no address; right would be udp://239.1.1.1:5000?local=10.0.0.1`);
    const [, source = '', remote, port, local = '0.0.0.0'] = match;
    return { source, remote: remote || '0.0.0.0', port: Number(port), local };
}

function control(id, kind, label, [x, y, width], text = '', items = undefined) {
    const combo = items === undefined ? {} : { items, selection: -1 };
    const height = { text: 10, label: 20 }[kind] ?? 14;
    return { id, kind, label, x, y, width, height, text, ...combo };
}

function comboOf(id, label, place, local) {
    const combo = control(id, 'combo', label, place, '', kInterfaces);
    const shown = local === '0.0.0.0' ? 'any' : local;
    combo.selection = kInterfaces.includes(shown) ? kInterfaces.indexOf(shown) : kInterfaces.length - 1;
    combo.text = kInterfaces[combo.selection];
    return combo;
}

/** As the program gives the dialogs of both filters. */
class Page {
    constructor(number, filter, graph) {
        Object.assign(this, { number, filter, graph, revision: 1 });
        const [first, second] = graph.to;
        this.controls = filter === 'sender' ? [
            control(1004, 'edit', 'Send to address 1', [8, 20, 90], first?.remote),
            control(1003, 'edit', 'Port 1', [102, 20, 40], String(first?.port ?? '')),
            comboOf(1002, 'Local interface 1', [146, 20, 100], first?.local ?? '0.0.0.0'),
            control(1006, 'edit', 'Send to address 2', [8, 38, 90], second?.remote ?? ''),
            control(1008, 'edit', 'Port 2', [102, 38, 40], String(second?.port ?? '')),
            comboOf(1009, 'Local interface 2', [146, 38, 100], second?.local ?? '0.0.0.0'),
            control(1103, 'label', '', [8, 56, 238], 'An emptied row stays in the filter. Choose an interface in ' +
                'place of "undefined" before applying: with that word the sender can\'t start. Changes act at the ' +
                'next start.'),
            control(1005, 'button', '', [196, 90, 50], 'Apply'),
        ] : [
            comboOf(1002, 'Local interface', [92, 8, 100], graph.from.local),
            control(1004, 'edit', 'Group or address', [92, 28, 100], graph.from.remote),
            control(1102, 'label', '', [92, 44, 200],
                'A multicast group, or 0.0.0.0 to receive what is sent to the interface itself.'),
            control(1003, 'edit', 'Port', [92, 68, 100], String(graph.from.port)),
            control(1011, 'edit', 'Source', [92, 88, 100], graph.from.source),
            control(1105, 'label', '', [92, 104, 200], 'Leave empty for any source. 0.0.0.0 shows that there is ' +
                'none, but is applied as a source of its own.'),
            control(1010, 'edit', 'Time-out (ms)', [92, 128, 100], String(graph.timeoutMs)),
            control(1007, 'text', 'Data state', [92, 152, 48], 'No data'),
            control(1005, 'button', '', [142, 150, 50], 'Apply'),
        ];
    }

    find(id) {
        const found = this.controls.find((one) => one.id === id);
        if (!found) throw new Refusal(404, `control ${id} is not on page ${this.number}`);
        return found;
    }

    text(id) {
        return this.find(id).text;
    }

    set(id, { text, selection }) {
        const target = this.find(id);
        if (selection !== undefined) Object.assign(target, { selection, text: target.items[selection] });
        else Object.assign(target, { text }, target.items ? { selection: -1 } : {});
        ++this.revision;
    }

    /** What the filter takes of the controls; the rest it leaves as it is, without a word. */
    apply() {
        const valid = (address, port) => /^(\d{1,3}\.){3}\d{1,3}$/.test(address) && port !== '';
        if (this.filter === 'receiver') {
            if (valid(this.text(1004), this.text(1003))) {
                this.graph.from = { remote: this.text(1004), port: parseInt(this.text(1003), 10) || 0,
                    local: this.text(1002), source: this.text(1011) };
            }
            this.graph.timeoutMs = parseInt(this.text(1010), 10) || 0;
            return;
        }
        for (const [index, [address, port, local]] of [[1004, 1003, 1002], [1006, 1008, 1009]].entries()) {
            if (!valid(this.text(address), this.text(port))) continue;
            this.graph.to[Math.min(index, this.graph.to.length)] =
                { remote: this.text(address), port: parseInt(this.text(port), 10) || 0, local: this.text(local) };
        }
    }

    json() {
        const [width, height] = this.filter === 'sender' ? [254, 112] : [300, 172];
        return { page: this.number, title: this.title, help: '', width, height, revision: this.revision,
            controls: this.controls };
    }

    get title() {
        return this.filter === 'sender' ? 'Destinations' : 'Reception';
    }
}

class Graph {
    constructor(id, profile) {
        const { name, kind, input } = profile;
        Object.assign(this, { id, name, kind, input, state: 'stopped', error: '', datagrams: 0, uptime: 0, silentMs: 0,
            data: null, timeoutMs: 5000, rate: 20e6 + 3e6 * id, phase: id });
        this.from = this.receives ? parseUrl(profile.input) : null;
        this.to = this.sends ? profile.to.map(parseUrl) : [];
        this.outputs = this.sends ? profile.to : [profile.out ?? ''];
        this.pages = [...this.receives ? ['receiver'] : [], ...this.sends ? ['sender'] : []]
            .map((filter, number) => new Page(number, filter, this));
        this.history = Object.fromEntries(kSeries.map((name) => [name, Array(kHistory).fill(null)]));
    }

    get receives() { return this.kind !== 'send'; }
    get sends() { return this.kind !== 'receive'; }

    /** One second. `fed` tells whether datagrams come to it. */
    turn(fed) {
        const wave = Math.sin(++this.phase / 23) + 0.4 * Math.sin(this.phase / 3.1);
        const running = this.state === 'running';
        const flowing = running && (this.kind === 'send' || fed);
        this.silentMs = flowing ? 0 : this.silentMs + 1000;
        if (running) ++this.uptime;
        const before = this.data;
        this.data = !running ? null : flowing || (this.data === true && this.silentMs <= this.timeoutMs);
        const perSecond = flowing ? Math.round(this.rate / (8 * 1316) + 4 * wave) : 0;
        this.datagrams += perSecond;
        this.now = {
            bit_rate: running ? perSecond * 8 * 1316 : null,
            spacing_error_ms: this.sends && flowing ? 0.35 + 0.12 * wave + (this.phase % 97 === 0 ? 2.4 : 0) : null,
            hold_back_ms: this.sends && running ? 120 + Math.round(10 * wave) : null,
            queued_samples: this.sends && running ? Math.max(0, Math.round(210 + 30 * wave)) : null,
            datagrams: running ? perSecond : null,
            continuity_errors: this.receives && running ? (this.phase % 211 === 0 ? 3 : 0) : null,
            kernel_drops: this.receives && running ? (this.phase % 307 === 0 ? 12 : 0) : null,
            data: this.receives && running ? Number(this.data) : null,
        };
        for (const name of kSeries) this.history[name] = [...this.history[name].slice(1), this.now[name]];
        return before !== this.data;
    }

    json() {
        const now = this.now ?? {};
        const error = now.spacing_error_ms ?? null;
        return {
            id: this.id, name: this.name, kind: this.kind, state: this.state, data: this.data,
            bit_rate: now.bit_rate ?? 0, datagrams: this.datagrams, error: this.error, input: this.input,
            output: this.outputs,
            values: {
                spacing_error_ms: error === null ? null : { median: error, p99: 2.1 * error, max: 4.2 * error },
                hold_back_ms: now.hold_back_ms ?? null, queued_samples: now.queued_samples ?? null,
                dropped_samples: this.sends ? 0 : null, continuity_errors: this.receives ? 3 : null,
                kernel_drops: this.receives ? 0 : null, buffer_full_notices: 0, uptime_s: this.uptime,
            },
            pages: this.pages.map((page) => ({ page: page.number, filter: page.filter, title: page.title })),
        };
    }
}

export class World {
    #ids = 0;
    #seq = 0;
    #tell;
    graphs = new Map();
    lines = [];

    /** `tell(event, data)` is called with what belongs into the stream of events. */
    constructor(tell) {
        this.#tell = tell;
    }

    /** Two studios and a relay with ten minutes behind them. */
    addExamples() {
        const group = '239.255.10.1:5004?local=10.0.0.2';
        const [to, input] = [[`udp://${group}`, 'udp://10.0.0.9:5004'], `udp://@${group}`];
        const north = ['udp://239.255.20.1:5004?local=192.168.10.5'];
        this.add({ name: 'studio 1', kind: 'send', input: '/streams/studio1.ts', to });
        this.add({ name: 'monitor 1', kind: 'receive', input, out: '/rec/one.ts' });
        this.add({ name: 'region north', kind: 'relay', input, to: north });
        this.add({ name: 'studio 2', kind: 'send', input: '/streams/studio2.ts', to: ['udp://239.255.10.2:5004'] });
        for (const id of [1, 2, 3]) this.command(id, 'run');
        for (let second = 0; second < kHistory; ++second) this.turn();
        this.log(1, 'studio 1', 'buffer_full', 'The sample pool was empty: 14 samples were dropped in 0.3 s');
        this.log(2, '', 'interface', 'Address 10.0.0.2 came back on eth1');
        this.log(0, 'region north', 'log', 'send to 239.255.20.1:5004 failed: 10065 (no route to the host)');
    }

    get(id) {
        const graph = this.graphs.get(id);
        if (!graph) throw new Refusal(404, `graph ${id} does not exist`);
        return graph;
    }

    page(id, number) {
        const page = this.get(id).pages[number];
        if (!page) throw new Refusal(404, `graph ${id} has no page ${number}`);
        return page;
    }

    add(profile) {
        if ([...this.graphs.values()].some((graph) => graph.name === profile.name)) {
            throw new Refusal(422, `a graph named '${profile.name}' exists; right would be another name`);
        }
        const graph = new Graph(++this.#ids, profile);
        this.graphs.set(graph.id, graph);
        return graph;
    }

    remove(id) {
        this.get(id);
        this.graphs.delete(id);
    }

    command(id, action) {
        const graph = this.get(id);
        graph.state = { run: 'running', pause: 'paused', stop: 'stopped' }[action];
        if (action === 'stop') graph.uptime = 0;
        this.log(2, graph.name, 'state', `The graph is ${graph.state}`);
        return graph;
    }

    log(level, graph, kind, text) {
        const line = { seq: ++this.#seq, time: new Date().toISOString(), level, graph, kind, text };
        this.lines = [...this.lines.slice(-999), line];
        this.#tell('log', line);
    }

    changed(id, page) {
        this.#tell('dialog', { id, page: page.number, revision: page.revision });
    }

    /** One second of all graphs. */
    turn() {
        const all = [...this.graphs.values()];
        const sent = new Set(all.filter((graph) => graph.sends && graph.state === 'running')
            .flatMap((graph) => graph.to.map(({ remote, port }) => `${remote}:${port}`)));
        for (const graph of all) {
            const told = graph.turn(graph.receives && sent.has(`${graph.from.remote}:${graph.from.port}`));
            if (!told || !graph.receives || graph.data === null) continue;
            const words = graph.data ? 'Data present' : 'No data';
            graph.pages[0].set(1007, { text: words });
            this.changed(graph.id, graph.pages[0]);
            this.log(graph.data ? 2 : 1, graph.name, 'state', words);
        }
        this.#tell('graphs', this.json());
    }

    json() {
        return { graphs: [...this.graphs.values()].map((graph) => graph.json()) };
    }
}
