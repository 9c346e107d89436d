// All about the selected graph: figures, property pages, plots, persisted settings.

import { byId, element, setText } from './dom.js';
import { dataWords, formatBitRate, formatDuration, formatNumber, kindNames, stateNames } from './format.js';
import { Plots } from './plots.js';
import { PropertyPage } from './property_page.js';
import { streamControls } from './streams.js';

function milliseconds(value) {
    return value === null || value === undefined ? null : `${formatNumber(value, 0)} ms`;
}

function spacing(error) {
    if (error === null || error === undefined) return null;
    const [median, p99, max] = [error.median, error.p99, error.max].map((value) => formatNumber(value, 2));
    return `${median} / ${p99} / ${max} ms`;
}

function count(value) {
    return value === null || value === undefined ? null : formatNumber(value);
}

const kWideFacts = new Set(['Input', 'Output', 'Spacing error (median / p99 / max)']);

/** Names and texts of what is known of a graph; null where it has no such figure. */
function factsOf(graph) {
    const values = graph.values ?? {};
    return [
        ['State', stateNames[graph.state] ?? graph.state],
        ['Data', dataWords(graph.data)],
        ['Bit rate', formatBitRate(graph.bit_rate)],
        ['Datagrams', count(graph.datagrams)],
        ['Up for', formatDuration(values.uptime_s)],
        ['Hold-back', milliseconds(values.hold_back_ms)],
        ['Queued samples', count(values.queued_samples)],
        ['Dropped samples', count(values.dropped_samples)],
        ['Continuity errors', count(values.continuity_errors)],
        ['Kernel drops', count(values.kernel_drops)],
        ['Buffer-full notices', count(values.buffer_full_notices)],
        ['Input', graph.input],
        ['Output', graph.output.join('\n') || null],
        ['Spacing error (median / p99 / max)', spacing(values.spacing_error_ms)],
    ].filter(([, text]) => text !== null);
}

export class Detail {
    #shape = '';
    #id = null;
    #pages = new Map();
    #plots = null;
    #facts = new Map();
    #loaded;

    /** `loaded(graph)` is called when a filter has taken a stream. */
    constructor(loaded) {
        this.#loaded = loaded;
    }

    /** Shows this graph, or none for undefined. What the user is typing stays while it is the same graph. */
    show(graph) {
        const shape = graph === undefined ? '' : JSON.stringify([graph.id, graph.kind, graph.pages]);
        if (shape !== this.#shape) this.#build(graph);
        this.#shape = shape;
        setText(byId('detail-title'), graph?.name ?? 'No graph selected');
        setText(byId('detail-kind'), graph === undefined ? '' : kindNames[graph.kind] ?? graph.kind);
        setText(byId('detail-error'), graph?.error ?? '');
        byId('detail-error').hidden = !graph?.error;
        this.#showFacts(graph === undefined ? [] : factsOf(graph));
    }

    #build(graph) {
        for (const page of this.#pages.values()) page.flush().catch(() => {});
        this.#plots?.close();
        this.#pages.clear();
        this.#plots = null;
        this.#id = graph?.id ?? null;
        if (graph !== undefined) {
            for (const page of graph.pages) this.#pages.set(page.page, new PropertyPage(graph.id, page));
            this.#plots = new Plots(graph);
        }
        byId('pages').replaceChildren(...[...this.#pages.values()].map((page) => page.node));
        byId('plots').replaceChildren(...this.#plots?.nodes ?? []);
        byId('streams').replaceChildren(...graph === undefined ? [] : [streamControls(graph, this.#loaded)]);
        this.reloadPages();
    }

    #showFacts(facts) {
        const names = new Set(facts.map(([name]) => name));
        for (const [name, fact] of this.#facts) {
            if (names.has(name)) continue;
            fact.node.remove();
            this.#facts.delete(name);
        }
        facts.forEach(([name, text], index) => {
            if (!this.#facts.has(name)) {
                const value = element('dd');
                this.#facts.set(name, { value, node: element('div', { className: kWideFacts.has(name) ? 'wide' : '' },
                    element('dt', {}, name), value) });
            }
            const fact = this.#facts.get(name);
            setText(fact.value, text);
            const list = byId('facts');
            if (list.children[index] !== fact.node) list.insertBefore(fact.node, list.children[index]);
        });
    }

    reloadPages() {
        for (const page of this.#pages.values()) page.reload();
    }

    /** A page of graph `id` has changed. */
    pageChanged(id, page, revision) {
        if (id === this.#id) this.#pages.get(page)?.onChanged(revision);
    }
}
