// The last ten minutes of a graph, one plot for each figure. The values stand in words beside each plot, too: now,
// and at the pointer.

import { getJson } from './api.js';
import uPlot from './uPlot.esm.js';
import { element, setText } from './dom.js';
import { dataWords, formatNumber, formatTime } from './format.js';

const kRefreshMs = 2000;
const kHeight = 132;

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
const kSending = ['bit_rate', 'spacing_error_ms', 'hold_back_ms', 'queued_samples'];
const kReceiving = ['datagrams', 'continuity_errors', 'kernel_drops', 'data'];
const figuresOf = { send: kSending, receive: kReceiving, relay: [...kReceiving, ...kSending] };

function words(figure, value) {
    if (value === null || value === undefined) return '–';
    return figure.words ? dataWords(value !== 0) : `${formatNumber(value, figure.digits)} ${figure.unit}`;
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

    constructor(figure) {
        this.#figure = figure;
        this.reading = element('span', { className: 'reading' });
        this.span = element('span', { className: 'muted' });
        this.canvas = element('div', { className: 'canvas', 'aria-hidden': 'true' });
        this.node = element('figure', {}, element('figcaption', {}, element('strong', {}, figure.title), this.reading,
            this.span), this.canvas);
    }

    show(times, values) {
        this.#data = [times, values.map((value) => value === null ? null : value * this.#figure.factor)];
        this.#plot?.setData(this.#data);
        this.#tell();
    }

    /** Draws for a width in pixels; 0 takes the present one again, in the present colours. */
    draw(width) {
        if (width === this.#width) return;
        this.#width = width || this.#width;
        this.#plot?.destroy();
        if (this.#width > 0) this.#plot = new uPlot(this.#options(), this.#data, this.canvas);
    }

    #tell() {
        const [times, values] = this.#data;
        const at = this.#plot?.cursor.idx ?? null;
        const reading = words(this.#figure, at === null ? values.at(-1) : values[at]);
        setText(this.reading, at === null ? reading : `${timeOf(times[at], 'second')}  ${reading}`);
        const known = values.filter((value) => value !== null);
        if (known.length === 0) return setText(this.span, '');
        if (this.#figure.words) {
            const without = known.filter((value) => value === 0).length;
            return setText(this.span, without === 0 ? '' : `${formatNumber(without)} s without data`);
        }
        const [low, high] = [Math.min(...known), Math.max(...known)].map((v) => formatNumber(v, this.#figure.digits));
        setText(this.span, `${low} to ${high}`);
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
            padding: [8, 8, 0, 0],
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
