// The form that adds a graph. It asks for what the kind has and leaves the judgement of texts to the program.

import { ApiError, post } from './api.js';
import { byId, setAttribute, setText } from './dom.js';

const kInputs = {
    send: ['Input', 'A transport stream file or a named pipe, by its name below the directory of --files.'],
    receive: ['Receive from', 'udp://@239.1.1.1:5000?local=10.0.0.2, or udp://@:5000 for unicast'],
    relay: ['Receive from', 'udp://@239.1.1.1:5000?local=10.0.0.2, or udp://@:5000 for unicast'],
};

// By the keys of a profile: [least, most, default] for each kind that has such a number, and the kinds with a switch.
const kNumbers = {
    offset_ms: { send: [-3600000, 3600000, 0], relay: [-3600000, 10000, 40] },
    timeout_ms: { receive: [0, 3600000, 5000], relay: [1000, 3600000, 5000] },
};
const kSwitches = { loop: ['send'], pacing: ['send', 'relay'], private: ['relay'] };

/** Disabled where the kind doesn't have it, too: it could hold the form up unseen. */
function offer(key, isOffered) {
    byId(`add-${key}-field`).hidden = !isOffered;
    byId(`add-${key}`).disabled = !isOffered;
}

/** What was typed stays; the default follows the kind. */
function showNumber(key, [least, most, preset]) {
    const input = byId(`add-${key}`);
    const untouched = input.value === input.defaultValue;
    input.defaultValue = preset;
    if (untouched) input.value = preset;
    Object.assign(input, { min: least, max: most });
    setText(byId(`add-${key}-hint`), `${least} to ${most}`);
}

function showFields() {
    const kind = byId('add-kind').value;
    setText(byId('add-input-label'), kInputs[kind][0]);
    setText(byId('add-input-hint'), kInputs[kind][1]);
    byId('add-to-field').hidden = kind === 'receive';
    byId('add-to').required = kind !== 'receive';
    byId('add-out-field').hidden = kind !== 'receive';
    for (const [key, ranges] of Object.entries(kNumbers)) {
        offer(key, kind in ranges);
        if (kind in ranges) showNumber(key, ranges[kind]);
    }
    for (const [key, kinds] of Object.entries(kSwitches)) offer(key, kinds.includes(kind));
    if (kind !== 'relay' || !byId('add-private').checked) return;
    for (const key of ['offset_ms', 'pacing']) byId(`add-${key}`).disabled = true;  // no place beside it
}

/** The graph as a profile has it, without what is as it would be anyway. */
function graphFromForm() {
    const kind = byId('add-kind').value;
    const graph = { name: byId('add-name').value.trim(), kind, input: byId('add-input').value.trim() };
    if (kind === 'receive') {
        const out = byId('add-out').value.trim();
        if (out !== '') graph.out = out;
    } else {
        graph.to = byId('add-to').value.split('\n').map((line) => line.trim()).filter((line) => line !== '');
    }
    for (const key of Object.keys(kNumbers)) {
        const { disabled, value, defaultValue } = byId(`add-${key}`);
        if (!disabled && value !== '' && value !== defaultValue) graph[key] = Number(value);
    }
    for (const key of Object.keys(kSwitches)) {
        const { disabled, checked, defaultChecked } = byId(`add-${key}`);
        if (!disabled && checked !== defaultChecked) graph[key] = checked;
    }
    const start = byId('add-start').value;
    if (start !== 'stopped') graph.start = start;
    return graph;
}

/** `added(graph)` is called with what the program made of it. */
export function setUpAddGraph(added) {
    const form = byId('add-form');
    const opener = byId('add-open');
    const setOpen = (open) => {
        form.hidden = !open;
        setAttribute(opener, 'aria-expanded', open);
        (open ? byId('add-kind') : opener).focus();
    };
    showFields();
    for (const id of ['add-kind', 'add-private']) byId(id).addEventListener('change', showFields);
    opener.addEventListener('click', () => setOpen(form.hidden));
    byId('add-cancel').addEventListener('click', () => setOpen(false));
    form.addEventListener('keydown', (event) => {
        if (event.key === 'Escape') setOpen(false);
    });
    form.addEventListener('submit', async (event) => {
        event.preventDefault();
        setText(byId('add-error'), '');
        try {
            const graph = await post('/api/graphs', graphFromForm());
            const kind = byId('add-kind').value;
            form.reset();
            byId('add-kind').value = kind;
            showFields();
            setOpen(false);
            added(graph);
        } catch (error) {
            if (!(error instanceof ApiError)) throw error;
            setText(byId('add-error'), error.message);
        }
    });
}
