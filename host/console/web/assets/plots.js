// The last ten minutes of a graph, one plot for each figure. The values stand in words beside each plot, too: now, and
// at the moment that the mouse, a finger or a key points at. What a finger or a key points at stays that moment while
// the plot has the focus.

import { getJson } from './api.js';
import uPlot from './uPlot.esm.js';
import { element, setAttribute, setText } from './dom.js';
import { dataWords, formatNumber, formatTime } from './format.js';

const kRefreshMs = 2000;
const kHeight = 132;
const kKeySteps = { ArrowLeft: -1, ArrowRight: 1, PageUp: 60, PageDown: -60, Home: -Infinity, End: Infinity };
const kLatest = 3;  // seconds in which the present value is sought: the program may not have looked yet

/** `factor` turns the program's unit into the shown one; `least` is the smallest top of the scale. */
const figures = {
    bit_rate: { title: 'Bit rate', unit: 'Mbit/s', factor: 1e-6, digits: 2, least: 1 },
    spacing_error_ms: { title: 'Spacing error', unit: 'ms', factor: 1, digits: 2, least: 1 },
    hold_back_ms: { title: 'Hold-back', unit: 'ms', factor: 1, digits: 0, least: 10 },
    queued_samples: { title: 'Queue length', unit: 'samples', factor: 1, digits: 0, least: 10 },
    datagrams: { title: 'Datagrams', unit: 'per second', factor: 1, digits: 0, least: 10 },
    continuity_errors: {
        title: 'Continuity errors', unit: 'per second', factor: 1, digits: 0, least: 5, stepped: true,
    },
    kernel_drops: { title: 'Kernel drops', unit: 'per second', factor: 1, digits: 0, least: 5, stepped: true },
    data: { title: 'Data state', words: true, factor: 1, least: 1, stepped: true },
};
const kRate = ['bit_rate', 'spacing_error_ms'];  // of a relay, the spacing of what came
const kSending = ['hold_back_ms', 'queued_samples'];
const kReceiving = ['datagrams', 'continuity_errors', 'kernel_drops', 'data'];
const figuresOf = {
    send: [...kRate, ...kSending], receive: [...kRate, ...kReceiving], relay: [...kRate, ...kReceiving, ...kSending],
};

function words(figure, value) {
    if (figure.words) return dataWords(value === null || value === undefined ? null : value !== 0);
    return `${formatNumber(value, figure.digits)} ${figure.unit}`;
}

function timeOf(unixSeconds, unit) {
    return formatTime(new Date(1000 * unixSeconds), unit);
}

function colour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

class Plot {
    #figure;
    #plot = null;
    #data = [[], []];
    #width = 0;
    #moment = null;  // unix seconds; null: where the mouse is

    constructor(figure) {
        this.#figure = figure;
        this.reading = element('span', { className: 'reading' });
        this.span = element('span', { className: 'muted' });
        this.canvas = element('div', { className: 'canvas', role: 'slider', tabIndex: 0,
            'aria-label': `${figure.title} at a moment`, 'aria-valuenow': 0 });
        this.node = element('figure', {}, element('figcaption', {}, element('strong', {}, figure.title), this.reading,
            this.span), this.canvas);
        this.#listen();
    }

    #listen() {
        const listen = (names, handle) => names.forEach((name) => this.canvas.addEventListener(name, handle));
        listen(['focus'], () => this.canvas.matches(':focus-visible') && this.#step(0));
        listen(['blur'], () => this.#pointAt(null));
        listen(['keydown'], (event) => {
            const step = kKeySteps[event.key];
            if (step === undefined || event.altKey || event.ctrlKey || event.metaKey) return;
            event.preventDefault();
            this.#step(step);
        });
        listen(['pointerdown', 'pointermove'], (event) => {
            if (event.pointerType === 'mouse') this.#moment = null;
            else this.#touch(event);
        });
    }

    /** Goes so many seconds on, from the newest value if there is no moment yet. */
    #step(seconds) {
        const [times] = this.#data;
        if (times.length === 0) return;
        const from = this.#moment ?? times[this.#newest()];
        this.#pointAt(Math.min(Math.max(from + seconds, times[0]), times.at(-1)));
    }

    #touch(event) {
        if (this.#plot === null || this.#data[0].length === 0) return;
        this.canvas.focus({ preventScroll: true });  // the reading stays until something else is touched
        const left = event.clientX - this.#plot.over.getBoundingClientRect().left;
        this.#moment = Math.round(this.#plot.posToVal(left, 'x'));
        this.#step(0);
    }

    /** Of all plots that are read together. */
    #pointAt(moment) {
        this.#moment = moment;
        const left = moment === null ? -10 : this.#plot?.valToPos(moment, 'x');
        this.#plot?.setCursor({ left, top: moment === null ? -10 : 0 }, true, true);
    }

    /** After a drawing, which is done at the end of the turn. */
    #stay() {
        queueMicrotask(() => this.#moment !== null && this.#step(0));
    }

    /** Where the newest known value is; the last place if there is none. */
    #newest() {
        const values = this.#data[1];
        const known = values.findLastIndex((value) => value !== null);
        return known >= values.length - kLatest ? known : values.length - 1;
    }

    show(times, values) {
        this.#data = [times, values.map((value) => value === null ? null : value * this.#figure.factor)];
        this.#plot?.setData(this.#data);
        this.#stay();
        this.#tell();
    }

    /** Draws for a width in pixels; 0 takes the present one again, in the present colours. */
    draw(width) {
        if (width === this.#width) return;
        this.#width = width || this.#width;
        this.#plot?.destroy();
        if (this.#width > 0) this.#plot = new uPlot(this.#options(), this.#data, this.canvas);
        this.#stay();
    }

    #tell() {
        const [times, values] = this.#data;
        const at = this.#plot?.cursor.idx ?? null;
        const index = at ?? this.#newest();
        const reading = words(this.#figure, values[index]);
        setText(this.reading, at === null ? reading : `${timeOf(times[at], 'second')}  ${reading}`);
        if (times.length > 0) this.#tellSlider(times, index);
        const known = values.filter((value) => value !== null);
        if (known.length === 0) return setText(this.span, '');
        if (this.#figure.words) {
            const without = known.filter((value) => value === 0).length;
            return setText(this.span, without === 0 ? '' : `${formatNumber(without)} s without`);
        }
        const [low, high] = [Math.min(...known), Math.max(...known)].map((v) => formatNumber(v, this.#figure.digits));
        setText(this.span, `${low} to ${high}`);
    }

    #tellSlider(times, index) {
        setAttribute(this.canvas, 'aria-valuemin', times[0]);
        setAttribute(this.canvas, 'aria-valuemax', times.at(-1));
        setAttribute(this.canvas, 'aria-valuenow', times[index]);
        setAttribute(this.canvas, 'aria-valuetext',
            `${timeOf(times[index], 'second')}, ${words(this.#figure, this.#data[1][index])}`);
    }

    #options() {
        const figure = this.#figure;
        const axis = { stroke: colour('--muted'), grid: { stroke: colour('--grid'), width: 1 }, ticks: { show: false },
            font: '11px system-ui, sans-serif' };
        const stepped = figure.stepped ? { paths: uPlot.paths.stepped({ align: 1 }) } : {};
        return {
            width: this.#width,
            height: kHeight,
            legend: { show: false },
            padding: [8, 18, 0, 0],  // room for half of the last time
            cursor: { sync: { key: 'plots' }, drag: { x: false, y: false }, y: false, points: { size: 6 } },
            hooks: { setCursor: [() => this.#tell()] },
            scales: {
                y: { range: (_, low, high) => figure.words ? [-0.1, 1.1] : [
                    Math.min(0, 1.1 * (low ?? 0)), Math.max(figure.least, 1.1 * (high ?? 0))] },
            },
            axes: [
                { ...axis, size: 24, space: 70, values: (_, splits) => splits.map((at) => timeOf(at, 'minute')) },
                figure.words ? { ...axis, size: 58, splits: [0, 1], values: () => ['No data', 'Data'] }
                    : { ...axis, size: 58, space: 28 },
            ],
            series: [{}, { stroke: colour('--plot'), fill: colour('--plot-fill'), width: 1.5, points: { show: false },
                ...stepped }],
        };
    }
}

export class Plots {
    #path;
    #plots = new Map();
    #timer = 0;
    #closed = false;
    #sizes;
    #scheme = matchMedia('(prefers-color-scheme: dark)');
    #recolour = () => this.#plots.forEach((plot) => plot.draw(0));

    constructor(graph) {
        this.#path = `/api/graphs/${graph.id}/history`;
        for (const name of figuresOf[graph.kind] ?? []) this.#plots.set(name, new Plot(figures[name]));
        this.nodes = [...this.#plots.values()].map((plot) => plot.node);
        this.#sizes = new ResizeObserver(() => this.#plots.forEach((plot) => plot.draw(plot.canvas.clientWidth)));
        this.nodes.forEach((node) => this.#sizes.observe(node));
        this.#scheme.addEventListener('change', this.#recolour);
        this.#refresh();
    }

    /** To be called before the nodes go. */
    close() {
        this.#closed = true;
        clearTimeout(this.#timer);
        this.#sizes.disconnect();
        this.#scheme.removeEventListener('change', this.#recolour);
    }

    async #refresh() {
        try {
            if (!document.hidden) this.#show(await getJson(this.#path));
        } catch {
            // The connection's own state tells of it; the next turn asks again.
        }
        if (!this.#closed) this.#timer = setTimeout(() => this.#refresh(), kRefreshMs);
    }

    #show({ start, step, series }) {
        if (this.#closed) return;
        for (const [name, plot] of this.#plots) {
            const values = series[name] ?? [];
            plot.show(values.map((_, index) => start + index * step), values);
        }
    }
}
