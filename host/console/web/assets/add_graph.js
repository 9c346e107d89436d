// The form that adds a graph. It asks for what the kind needs and leaves every judgement of the values to the program.

import { ApiError, post } from './api.js';
import { byId, setAttribute, setText } from './dom.js';

const kInputs = {
    send: ['Input', 'A transport stream file, a named pipe, or - for standard input.'],
    receive: ['Receive from', 'udp://@239.1.1.1:5000?local=10.0.0.2, or udp://@:5000 for unicast'],
    relay: ['Receive from', 'udp://@239.1.1.1:5000?local=10.0.0.2, or udp://@:5000 for unicast'],
};

function showFieldsOf(kind) {
    setText(byId('add-input-label'), kInputs[kind][0]);
    setText(byId('add-input-hint'), kInputs[kind][1]);
    byId('add-to-field').hidden = kind === 'receive';
    byId('add-to').required = kind !== 'receive';
    byId('add-out-field').hidden = kind !== 'receive';
    byId('add-loop-field').hidden = kind !== 'send';
}

/** The graph as a profile has it. */
function graphFromForm() {
    const kind = byId('add-kind').value;
    const graph = { name: byId('add-name').value.trim(), kind, input: byId('add-input').value.trim() };
    if (kind === 'receive') {
        const out = byId('add-out').value.trim();
        if (out !== '') graph.out = out;
    } else {
        graph.to = byId('add-to').value.split('\n').map((line) => line.trim()).filter((line) => line !== '');
    }
    if (kind === 'send' && byId('add-loop').checked) graph.loop = true;
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
    showFieldsOf('send');
    byId('add-kind').addEventListener('change', (event) => showFieldsOf(event.target.value));
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
            setOpen(false);
            added(graph);
        } catch (error) {
            if (!(error instanceof ApiError)) throw error;
            setText(byId('add-error'), error.message);
        }
    });
}
