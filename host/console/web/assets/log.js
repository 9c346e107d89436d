// The log: the newest lines of all graphs, filtered by level, kind and graph. The newest line stays in sight until
// the user scrolls away from it.

import { getJson } from './api.js';
import { byId, element, setText } from './dom.js';
import { formatDate, formatTime, levelNames } from './format.js';

const kMostLines = 1000;  // of faults and warnings, and of other lines, as the program keeps them
const kFilters = ['log-level', 'log-kind', 'log-graph'];
const kKindNames = { interface: 'Interface', buffer_full: 'Buffer full', state: 'State' };

function keptOf(lines) {
    const newest = (isOf) => lines.filter(isOf).slice(-kMostLines);
    const [faults, others] = [newest((line) => line.level <= 1), newest((line) => line.level > 1)];
    const kept = new Set([...faults, ...others]);
    return lines.filter((line) => kept.has(line));
}

function nodeOf(line) {
    const date = new Date(line.time);
    const kind = kKindNames[line.kind];
    const tag = kind === undefined ? [] : [element('span', { className: 'tag' }, kind), ' '];
    const level = levelNames[line.level] ?? `Level ${line.level}`;
    return element('li', { 'data-level': line.level, 'data-seq': line.seq },
        element('span', { className: 'date' }, formatDate(date)),
        element('time', { dateTime: line.time, title: line.time }, formatTime(date, 'millisecond')),
        element('span', { className: 'level' }, level),
        element('span', { className: 'graph' }, line.graph),
        element('span', { className: 'text' }, ...tag, line.text));
}

/** The first line of each day has its date in sight. */
function markDays(nodes) {
    let before = '';
    for (const node of nodes) {
        const date = node.firstElementChild.textContent;
        node.classList.toggle('new-day', date !== before);
        before = date;
    }
}

export class Log {
    #lines = [];
    #waiting = [];
    #fetching = false;
    #timer = 0;
    #drawn = 0;  // the sequence number up to which the list shows the lines
    #shown = byId('log-lines');
    #scroll = byId('log-scroll');
    #graphNames = '';
    #following = true;
    #followedTo = 0;

    constructor() {
        for (const id of kFilters) byId(id).addEventListener('change', () => this.#redraw());
        this.#scroll.addEventListener('scroll', () => {
            const { scrollTop, clientHeight, scrollHeight } = this.#scroll;
            // The event of our own scrolling may come when the region has been resized already.
            this.#following = scrollTop === this.#followedTo || scrollTop + clientHeight >= scrollHeight - 8;
        });
        new ResizeObserver(() => this.#follow()).observe(this.#scroll);
    }

    #follow() {
        if (!this.#following) return;
        this.#scroll.scrollTop = this.#scroll.scrollHeight;
        this.#followedTo = this.#scroll.scrollTop;
    }

    /** Takes all lines anew; those that come meanwhile are added behind. */
    async refetch() {
        if (this.#fetching) return;
        this.#fetching = true;
        const [first, before] = [this.#lines[0], this.#lines.at(-1)];
        try {
            this.#lines = (await getJson('/api/log?after=0')).lines;
        } catch {
            // The connection's own state tells of it, and fetches again.
        }
        this.#fetching = false;
        const last = this.#lines.at(-1)?.seq ?? 0;
        this.#lines.push(...this.#waiting.filter((line) => line.seq > last));
        this.#waiting = [];
        // What the list shows stays, unless the program is another one or has told lines that are older.
        const goesOn = first?.seq <= this.#lines[0]?.seq &&
            this.#lines.some((line) => line.seq === before.seq && line.time === before.time);
        if (goesOn) this.#drawSoon();
        else this.#redraw();
    }

    add(line) {
        (this.#fetching ? this.#waiting : this.#lines).push(line);
        this.#drawSoon();
    }

    /** The names that one can filter by, beside those in the lines. */
    setGraphs(names) {
        const known = new Set([...names, ...this.#lines.map((line) => line.graph)]);
        const all = [...known].filter((name) => name !== '').sort();
        if (all.join('\n') === this.#graphNames) return;
        this.#graphNames = all.join('\n');
        const select = byId('log-graph');
        const chosen = select.value;
        select.replaceChildren(element('option', { value: '' }, 'All'),
            ...all.map((name) => element('option', { value: name }, name)));
        select.value = all.includes(chosen) ? chosen : '';
    }

    /** A burst of lines is drawn once. */
    #drawSoon() {
        if (this.#timer === 0) this.#timer = setTimeout(() => this.#draw(), 100);
    }

    #redraw() {
        this.#shown.replaceChildren();
        this.#drawn = 0;
        this.#draw();
    }

    /** Adds what is new and takes away what is too old; the rest stays, as someone may be marking text in it. */
    #draw() {
        clearTimeout(this.#timer);
        this.#timer = 0;
        this.#lines = keptOf(this.#lines);
        const kept = new Set(this.#lines.map((line) => line.seq));
        for (const node of [...this.#shown.children]) {
            if (!kept.has(Number(node.dataset.seq))) node.remove();
        }
        const [level, kind, graph] = kFilters.map((id) => byId(id).value);
        const fresh = this.#lines.filter((line) => line.seq > this.#drawn && line.level <= Number(level) &&
            (kind === '' || line.kind === kind) && (graph === '' || line.graph === graph));
        this.#shown.append(...fresh.map(nodeOf));
        markDays(this.#shown.children);
        this.#drawn = this.#lines.at(-1)?.seq ?? 0;
        this.#follow();
        const [shown, all] = [this.#shown.children.length, this.#lines.length];
        setText(byId('log-count'), shown === all ? `${all} lines` : `${shown} of ${all} lines`);
    }
}
