// The table of graphs: state, data lamp, bit rate and what one can do. Rows live as long as their graphs, so that
// the focus stays where it is while figures change.

import { ApiError, post } from './api.js';
import { confirmed } from './confirm.js';
import { byId, element, setAttribute, setText } from './dom.js';
import { dataWords, formatBitRate, kindNames, stateNames } from './format.js';

const kActions = [['run', 'Run', 'running'], ['pause', 'Pause', 'paused'], ['stop', 'Stop', 'stopped']];

class Row {
    constructor(graph, handlers) {
        this.graph = graph;
        this.name = element('button', { type: 'button', className: 'name' });
        this.name.addEventListener('click', () => handlers.select(graph.id));
        this.kind = element('span', { className: 'muted' });
        this.fault = element('p', { className: 'error' });
        this.state = element('span', { className: 'state' });
        this.data = element('span', { className: 'lamp' });
        this.rate = element('td', { role: 'cell', className: 'number rate' });
        this.buttons = kActions.map(([action, label, state]) => {
            const button = element('button', { type: 'button' }, label);
            button.addEventListener('click', () => handlers.act(this.graph, action));
            return { button, label, state };
        });
        this.remove = element('button', { type: 'button', className: 'quiet' }, 'Remove');
        this.remove.addEventListener('click', () => handlers.remove(this.graph));
        const actions = element('div', { role: 'group', className: 'segments' }, ...this.buttons.map((b) => b.button));
        this.node = element('tr', { role: 'row' },
            element('th', { role: 'rowheader', scope: 'row' }, this.name, ' ', this.kind, this.fault),
            element('td', { role: 'cell' }, this.state),
            element('td', { role: 'cell' }, this.data),
            this.rate,
            element('td', { role: 'cell', className: 'control' }, actions, this.remove));
        this.update(graph);
    }

    update(graph) {
        this.graph = graph;
        setText(this.name, graph.name);
        setText(this.kind, kindNames[graph.kind] ?? graph.kind);
        setText(this.fault, graph.error);
        setAttribute(this.fault, 'title', graph.error);  // the row shows its beginning
        setText(this.state, stateNames[graph.state] ?? graph.state);
        setAttribute(this.state, 'data-state', graph.state);
        setText(this.data, dataWords(graph.data));
        setAttribute(this.data, 'data-on', graph.data);
        setText(this.rate, formatBitRate(graph.bit_rate));
        for (const { button, label, state } of this.buttons) {
            setAttribute(button, 'aria-label', `${label} ${graph.name}`);
            setAttribute(button, 'aria-pressed', graph.state === state);
        }
        setAttribute(this.remove, 'aria-label', `Remove ${graph.name}`);
    }

    select(selected) {
        this.node.classList.toggle('selected', selected);
        setAttribute(this.name, 'aria-current', selected);
    }
}

export class GraphList {
    #rows = new Map();
    #body = byId('graph-rows');
    #handlers;

    /** `handlers`: select(id), changed(graph) after a command, removed(id), failed(text). */
    constructor(handlers) {
        this.#handlers = {
            select: handlers.select,
            act: (graph, action) => this.#act(graph, action, handlers),
            remove: (graph) => this.#remove(graph, handlers),
        };
    }

    async #act(graph, action, handlers) {
        try {
            handlers.changed(await post(`/api/graphs/${graph.id}/${action}`));
        } catch (error) {
            if (!(error instanceof ApiError)) throw error;
            handlers.failed(`${graph.name}: ${error.message}`);
        }
    }

    async #remove(graph, handlers) {
        if (!await confirmed(`Remove “${graph.name}”? It stops, and its settings are gone unless they are saved.`,
            'Remove')) return;
        const row = this.#rows.get(graph.id)?.node;
        const neighbour = row?.nextElementSibling ?? row?.previousElementSibling;
        try {
            await post(`/api/graphs/${graph.id}/remove`);
            handlers.removed(graph.id);
            (neighbour?.querySelector('button.name') ?? byId('add-open')).focus();
        } catch (error) {
            if (!(error instanceof ApiError)) throw error;
            handlers.failed(`${graph.name}: ${error.message}`);
        }
    }

    update(graphs, limit) {
        for (const [id, row] of this.#rows) {
            if (graphs.some((graph) => graph.id === id)) continue;
            row.node.remove();
            this.#rows.delete(id);
        }
        graphs.forEach((graph, index) => {
            if (!this.#rows.has(graph.id)) this.#rows.set(graph.id, new Row(graph, this.#handlers));
            const row = this.#rows.get(graph.id);
            row.update(graph);
            if (this.#body.children[index] !== row.node) this.#body.insertBefore(row.node, this.#body.children[index]);
        });
        byId('graphs-empty').hidden = graphs.length > 0;
        setText(byId('graph-count'), limit ? `${graphs.length} of ${limit}` : `${graphs.length}`);
    }

    select(id) {
        for (const [rowId, row] of this.#rows) row.select(rowId === id);
    }

    focus(id) {
        this.#rows.get(id)?.name.focus();
    }
}
