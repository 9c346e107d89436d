// Requests to the program. Errors become ApiError with the program's own sentence.

export class ApiError extends Error {
    /** `status` is the HTTP status, 0 when the program did not answer at all. */
    constructor(status, message) {
        super(message);
        this.status = status;
    }
}

const kTimeoutMs = 15000;  // stopping a graph may wait for its downstream

let onUnauthorized = () => {};
let pageToken = tokenIn(document);

function tokenIn(page) {
    return page.querySelector('meta[name="mcgate-token"]')?.content ?? '';
}

/** `handler` is called whenever the program asks for the access token. */
export function whenUnauthorized(handler) {
    onUnauthorized = handler;
}

async function attempt(path, options) {
    try {
        return await fetch(path, { cache: 'no-store', signal: AbortSignal.timeout(kTimeoutMs), ...options });
    } catch {
        throw new ApiError(0, 'The program does not answer.');
    }
}

async function refusal(response) {
    let text = '';
    try {
        text = (await response.json()).error ?? '';
    } catch {
        // Not the program's own form: something between us and it answered.
    }
    return new ApiError(response.status, text || `The program answered with status ${response.status}.`);
}

async function checked(response, isLogin = false) {
    if (response.ok) return response;
    if (response.status === 401 && !isLogin) onUnauthorized();
    throw await refusal(response);
}

/** A program that was started anew has another page token; it is in the page that it serves. True if it was another. */
async function renewToken() {
    const response = await attempt('/');
    if (!response.ok) return false;
    const token = tokenIn(new DOMParser().parseFromString(await response.text(), 'text/html'));
    if (token === '' || token === pageToken) return false;
    pageToken = token;
    return true;
}

async function change(method, path, type, body) {
    const once = () => attempt(path, {
        method, body, headers: { 'Content-Type': type, 'X-Mcgate-Token': pageToken },
    });
    let response = await once();
    if (response.status === 403 && await renewToken()) response = await once();
    return checked(response, path === '/login');
}

export async function getJson(path) {
    return (await checked(await attempt(path))).json();
}

export async function getBlob(path) {
    return (await checked(await attempt(path))).blob();
}

export async function post(path, body = {}) {
    return (await change('POST', path, 'application/json', JSON.stringify(body))).json();
}

export async function put(path, body) {
    return (await change('PUT', path, 'application/json', JSON.stringify(body))).json();
}

export async function putBytes(path, bytes) {
    return (await change('PUT', path, 'application/octet-stream', bytes)).json();
}

/** The cookie comes with the answer, whose body doesn't matter. */
export async function login(token) {
    await change('POST', '/login', 'application/json', JSON.stringify({ token }));
}
