// The one stream of events, and what stands in for it. A stream that breaks is opened again at once; one that the
// program refuses (it serves a limited number) is replaced by polling until it is free; a program that does not
// answer is asked again until it does. After each of these everything is fetched anew, since the events between are
// lost. A hidden page rests: a browser has few connections to one program, and those in sight need them. What it asks
// now and then keeps its title true.

import { getJson } from './api.js';

const kSilenceMs = 5000;  // "graphs" comes once a second
const kPollMs = 2000;
const kFirstRetryMs = 500;
const kLongestRetryMs = 5000;
const kRestAfterMs = 10000;  // so that a short look at another page costs nothing
const kRestingPollMs = 8000;

export class Connection {
    #handlers;
    #source = null;
    #heard = 0;
    #retryMs = kFirstRetryMs;
    #timer = 0;
    #resting = document.hidden;
    #restTimer = 0;

    /**
     * `handlers`: state(name) with 'live', 'polling', 'lost' or 'locked'; resync(); graphs(list); log(line);
     * dialog({id, page, revision}).
     */
    constructor(handlers) {
        this.#handlers = handlers;
        setInterval(() => this.#watch(), 1000);
        document.addEventListener('visibilitychange', () => this.#seen());
    }

    /** Opens the stream, now (of a hidden page, once it is seen); also after a login. */
    start() {
        clearTimeout(this.#timer);
        this.#close();
        if (this.#resting) {
            this.#glance();
            return;
        }
        const source = new EventSource('/api/events');
        this.#heard = Date.now();
        let opened = false;
        const listen = (name, handle) => source.addEventListener(name, (event) => {
            this.#heard = Date.now();
            handle(JSON.parse(event.data));
        });
        listen('graphs', (data) => this.#handlers.graphs(data.graphs));
        listen('log', (line) => this.#handlers.log(line));
        listen('dialog', (change) => this.#handlers.dialog(change));
        source.addEventListener('open', () => {
            opened = true;
            this.#heard = Date.now();
            this.#retryMs = kFirstRetryMs;
            this.#handlers.state('live');
            this.#handlers.resync();
        });
        source.addEventListener('error', () => {
            if (this.#source !== source) return;
            this.#close();
            if (opened) this.#again(kFirstRetryMs);
            else this.#probe();
        });
        this.#source = source;
    }

    #close() {
        this.#source?.close();
        this.#source = null;
    }

    /** The page is seen now, or no longer. */
    #seen() {
        clearTimeout(this.#restTimer);
        if (document.hidden) {
            this.#restTimer = setTimeout(() => {
                this.#resting = true;
                this.start();
            }, kRestAfterMs);
        } else if (this.#resting) {
            this.#resting = false;
            this.start();
        }
    }

    async #glance() {
        try {
            const { graphs } = await getJson('/api/graphs');
            if (this.#resting) this.#handlers.graphs(graphs);
        } catch {
            // Told once the page is seen.
        }
        if (this.#resting) this.#again(kRestingPollMs);
    }

    #again(delayMs) {
        clearTimeout(this.#timer);
        this.#timer = setTimeout(() => this.start(), delayMs);
    }

    /** A connection whose other end vanished without a word never fails by itself. */
    #watch() {
        if (this.#source === null || Date.now() - this.#heard < kSilenceMs) return;
        this.#close();
        this.#probe();
    }

    /** Why is there no stream? A refused stream doesn't tell its status to a script. */
    async #probe() {
        try {
            await getJson('/api/graphs');
        } catch (error) {
            if (this.#source !== null || this.#resting) return;  // started meanwhile
            this.#handlers.state(error.status === 401 ? 'locked' : 'lost');
            if (error.status === 401) return;
            this.#again(this.#retryMs);
            this.#retryMs = Math.min(2 * this.#retryMs, kLongestRetryMs);
            return;
        }
        if (this.#source !== null || this.#resting) return;
        this.#handlers.state('polling');
        this.#handlers.resync();
        this.#again(kPollMs);
    }
}
