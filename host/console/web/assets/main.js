// Brings the parts of the page together: what the program tells goes to the list, the selected graph, the log and,
// where a state changes, to the screen reader.

import { setUpAddGraph } from './add_graph.js';
import { ApiError, getJson, put } from './api.js';
import { Connection } from './connection.js';
import { Detail } from './detail.js';
import { byId, element, setAttribute, setText } from './dom.js';
import { dataWords, formatTime, stateNames } from './format.js';
import { GraphList } from './graph_list.js';
import { Log } from './log.js';
import { setUpLogin } from './login.js';

const kMostNotices = 4;
const connectionTexts = {
    live: () => 'Connected',
    polling: () => 'Connected; refreshed every two seconds, since the program serves no further event stream',
    lost: () => `Connection lost at ${formatTime(new Date(), 'second')}; the figures are older. Trying again`,
    locked: () => 'The access token is missing or expired',
};

let graphs = [];
let limit = 0;
let version = '';
let connectionState = 'connecting';

/** A sentence that stays until it is dismissed; `kind` is 'error' or 'done'. */
function notice(text, kind = 'error') {
    const label = `Dismiss: ${text}`;
    const dismiss = element('button', { type: 'button', className: 'quiet', 'aria-label': label }, 'Dismiss');
    const node = element('div', { className: `notice ${kind}`, role: 'alert' }, element('p', {}, text), dismiss);
    dismiss.addEventListener('click', () => node.remove());
    const notices = byId('notices');
    notices.append(node);
    while (notices.children.length > kMostNotices) notices.firstElementChild.remove();
}

/** The address of the page keeps the choice over a reload. */
function select(id) {
    history.replaceState(null, '', `#graph-${id}`);
    showSelection();
    const { top } = byId('detail').getBoundingClientRect();
    if (top > 0.75 * innerHeight) byId('detail').scrollIntoView();  // it stands below a long list on a narrow screen
}

function showSelection() {
    const chosen = Number(/^#graph-(\d+)$/.exec(location.hash)?.[1]);
    const id = graphs.some((graph) => graph.id === chosen) ? chosen : graphs[0]?.id;
    list.select(id);
    detail.show(graphs.find((graph) => graph.id === id));
}

/** The changes of state between two lists, in words. */
function changesIn(next) {
    const changes = [];
    for (const graph of next) {
        const before = graphs.find((other) => other.id === graph.id);
        if (before === undefined) continue;
        if (before.state !== graph.state) changes.push(`${graph.name}: ${stateNames[graph.state] ?? graph.state}`);
        if (before.data !== graph.data && graph.data !== null) changes.push(`${graph.name}: ${dataWords(graph.data)}`);
        if (before.error !== graph.error && graph.error) changes.push(`${graph.name}: ${graph.error}`);
    }
    return changes;
}

function showGraphs(next) {
    const changes = changesIn(next);
    if (changes.length > 0) setText(byId('announcer'), changes.join('. '));
    graphs = next;
    list.update(graphs, limit);
    showSelection();
    log.setGraphs(graphs.map((graph) => graph.name));
    const silent = graphs.filter((graph) => graph.state === 'running' && graph.data === false).length;
    document.title = silent === 0 ? 'mcgate' : `${silent} without data - mcgate`;
}

function replaceGraph(graph) {
    const known = graphs.some((other) => other.id === graph.id);
    showGraphs(known ? graphs.map((other) => other.id === graph.id ? graph : other) : [...graphs, graph]);
}

function showConnection(state) {
    if (state === connectionState) return;
    connectionState = state;
    setAttribute(byId('connection'), 'data-state', state);
    setText(byId('connection'), connectionTexts[state]());
    document.body.classList.toggle('stale', state === 'lost' || state === 'locked');
}

/** For requests whose failure the state of the connection shows. */
function quietly(error) {
    if (!(error instanceof ApiError)) throw error;
}

/** Everything anew: events were missed, or there were none yet. */
async function resync() {
    const answer = await getJson('/api/graphs');
    limit = answer.limits?.graphs ?? 0;
    if (version !== '' && version !== answer.version) {
        notice(`The program is version ${answer.version} now, this page is of ${version}. Reload the page.`);
        byId('reload').hidden = false;
    }
    version ||= answer.version;
    setText(byId('version'), version);
    showGraphs(answer.graphs);
    detail.reloadPages();
    await log.refetch();
}

const log = new Log();
const detail = new Detail(replaceGraph);
const list = new GraphList({
    select,
    changed: replaceGraph,
    removed: (id) => showGraphs(graphs.filter((graph) => graph.id !== id)),
    failed: notice,
});
const connection = new Connection({
    state: showConnection,
    resync: () => resync().catch(quietly),
    graphs: showGraphs,
    log: (line) => log.add(line),
    dialog: ({ id, page, revision }) => detail.pageChanged(id, page, revision),
});

setUpLogin(() => connection.start());
setUpAddGraph((graph) => {
    replaceGraph(graph);
    select(graph.id);
    list.focus(graph.id);
});
byId('reload').addEventListener('click', () => location.reload());
byId('save-profile').addEventListener('click', async () => {
    try {
        await put('/api/profile', await getJson('/api/profile'));
        notice('The profile is saved.', 'done');
    } catch (error) {
        if (!(error instanceof ApiError)) throw error;
        notice(error.message);
    }
});
for (const link of document.querySelectorAll('.skip a')) {
    link.addEventListener('click', (event) => {
        event.preventDefault();  // the address tells the selected graph
        const target = byId(link.hash.slice(1));
        target.scrollIntoView();
        target.focus();
    });
}
addEventListener('hashchange', showSelection);
connection.start();
