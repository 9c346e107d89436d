// Saves the persisted stream of a filter to a file of the user, and loads one.

import { ApiError, getBlob, putBytes } from './api.js';
import { element, setText } from './dom.js';

function offerFile(blob, name) {
    const link = element('a', { href: URL.createObjectURL(blob), download: name });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

/** The part of the page for one filter; `loaded(graph)` is called when the filter has taken a stream. */
function rowOf(graph, filter, loaded) {
    const path = `/api/graphs/${graph.id}/stream/${filter}`;
    const save = element('button', { type: 'button' }, `Save ${filter} settings`);
    const load = element('button', { type: 'button' }, `Load ${filter} settings`);
    const file = element('input', { type: 'file', hidden: true, 'aria-label': `Stream file for the ${filter}` });
    const told = element('p', { className: 'told', role: 'status' });
    const error = element('p', { className: 'error', role: 'alert' });
    const guarded = (task) => async () => {
        setText(told, '');
        setText(error, '');
        try {
            setText(told, await task());
        } catch (failure) {
            if (!(failure instanceof ApiError)) throw failure;
            setText(error, failure.message);
        }
    };
    save.addEventListener('click', guarded(async () => {
        const name = `${graph.name}.${filter}.stream`;
        offerFile(await getBlob(path), name);
        return `Saved as ${name}`;
    }));
    load.addEventListener('click', () => file.click());
    file.addEventListener('change', guarded(async () => {
        const [chosen] = file.files;
        file.value = '';
        if (chosen === undefined) return '';
        loaded(await putBytes(path, chosen));
        return `Loaded ${chosen.name}`;
    }));
    return element('div', { className: 'stream' }, save, load, file, told, error);
}

export function streamControls(graph, loaded) {
    const filters = [...new Set(graph.pages.map((page) => page.filter))];
    return element('section', { className: 'page', 'aria-label': 'Persisted settings' },
        element('h3', {}, 'Persisted settings'),
        element('p', { className: 'hint' }, 'Save a filter’s settings to a file of yours, or load them from one.'),
        ...filters.map((filter) => rowOf(graph, filter, loaded)));
}
