// One property page of a filter, drawn from the dialog model. The program holds the model and all logic; the page
// orders the controls by their places in it, in rows that wrap on narrow screens.

import { getJson, post, put } from './api.js';
import { element, setText } from './dom.js';
import { formatTime } from './format.js';
import { makeControl } from './property_controls.js';

const kPixelsPerUnit = 1.4;  // of a dialog unit's width
const kNarrowest = '220px';  // that a control's share of the dialog's width makes it

/**
 * Controls whose tops lie within half a control's height stand in one row, from left to right. A text right below a row
 * explains it and joins it.
 */
function rowsOf(controls) {
    const rows = [];
    for (const control of [...controls].sort((a, b) => a.y - b.y || a.x - b.x)) {
        const row = rows.at(-1);
        const below = row && control.y - row[0].y;
        if (row && (below < row[0].height / 2 || (control.kind === 'label' && below < 1.5 * row[0].height))) {
            row.push(control);
        } else {
            rows.push([control]);
        }
    }
    for (const row of rows) row.sort((a, b) => (a.kind === 'label') - (b.kind === 'label') || a.x - b.x);
    return rows;
}

export class PropertyPage {
    #path;
    #prefix;
    #controls = new Map();
    #shape = '';
    #revision = -1;
    #requests = Promise.resolve();

    constructor(graphId, page) {
        this.#path = `/api/graphs/${graphId}/pages/${page.page}`;
        this.#prefix = `control-${graphId}-${page.page}`;
        this.title = element('h3', {}, page.title);
        this.help = element('p', { className: 'hint' });
        this.rows = element('div', { className: 'rows' });
        this.told = element('p', { className: 'told', role: 'status' });
        this.error = element('p', { className: 'error', role: 'alert' });
        this.node = element('section', { className: 'page', 'aria-label': page.title },
            this.title, this.help, this.rows, this.told, this.error);
    }

    /** Fetches the page anew, whatever was seen before: the program may have been started anew. */
    reload() {
        this.flush().catch(() => {});
        const restart = () => { this.#revision = -1; };
        this.#enqueue(() => getJson(this.#path), restart).catch(() => {});
    }

    /** The model has this revision now. */
    onChanged(revision) {
        if (revision !== this.#revision) this.#enqueue(() => getJson(this.#path)).catch(() => {});
    }

    /** Changes a control of the model; `whenDone` is called before the model's answer is shown. */
    change(control, body, whenDone = () => {}) {
        return this.#enqueue(() => put(`${this.#path}/controls/${control}`, body), whenDone);
    }

    command(control) {
        setText(this.told, '');
        const typed = this.flush();
        const send = async () => {
            await typed;
            return post(`${this.#path}/command`, { control });
        };
        this.#enqueue(send).then(
            () => setText(this.told, `Handed to the filter at ${formatTime(new Date(), 'second')}`), () => {});
    }

    /** Sends what was typed and isn't sent yet. */
    flush() {
        return Promise.all([...this.#controls.values()].map((control) => control.flush()));
    }

    /** One request after the other, so that texts arrive before the command that uses them. */
    #enqueue(request, whenDone = () => {}) {
        const result = this.#requests.then(request).then((dialog) => {
            setText(this.error, '');
            whenDone();
            this.#show(dialog);
        });
        this.#requests = result.catch((error) => setText(this.error, error.message));
        return result;
    }

    #show(dialog) {
        if (dialog.revision < this.#revision) return;
        this.#revision = dialog.revision;
        setText(this.title, dialog.title);
        setText(this.help, dialog.help ?? '');
        const shape = dialog.controls.map((c) => [c.id, c.kind, c.label, c.x, c.y, c.width, c.height].join()).join(';');
        if (shape !== this.#shape) this.#build(dialog);
        this.#shape = shape;
        for (const control of dialog.controls) this.#controls.get(control.id).update(control);
    }

    #build({ controls, width }) {
        this.#controls.clear();
        this.rows.replaceChildren(...rowsOf(controls).map((row) => element('div', { className: 'row' },
            ...row.map((control) => {
                const view = makeControl(control, `${this.#prefix}-${control.id}`, this);
                this.#controls.set(control.id, view);
                const share = Math.round(100 * control.width / width);
                view.node.style.flex = `${control.width} 1 ${Math.round(control.width * kPixelsPerUnit)}px`;
                if (control.kind !== 'label') view.node.style.maxWidth = `max(${kNarrowest}, ${share}%)`;
                return view.node;
            }))));
    }
}
