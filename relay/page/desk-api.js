// The requests to the desk. Each resolves to the body of the response, or throws a DeskError.

const requestTimeout = 8000; // milliseconds
const joinTimeout = 15000;
const stateTimeout = 2500; // the desk releases the keys of a page that it does not hear for 6 s

/** `error` is what the desk responded, or 'no-response'; `seconds` is after how long it wants to be asked again. */
export class DeskError extends Error {
    constructor(error, seconds = 0) {
        super(error);
        this.error = error;
        this.seconds = seconds;
    }
}

export const fetchRoles = (code) => post('/api/roles', { code });
export const fetchCard = (code) => post('/api/card', { code });
export const join = (request) => post('/api/join', request, joinTimeout);
export const sendAnswer = (session, sdpAnswer) => post('/api/answer', { session, ...sdpAnswer });
export const sendState = (session, state, signal) => post('/api/state', { session, ...state }, stateTimeout, signal);

/** Is sent even while the page is being closed, without waiting for a response. */
export function leave(session) {
    const body = JSON.stringify({ session });
    if (navigator.sendBeacon?.('/api/leave', body)) return;
    fetch('/api/leave', { method: 'POST', body, keepalive: true }).catch(() => {});
}

export const eventsAddress = (session) => `/api/events?session=${encodeURIComponent(session)}`;

async function post(path, request, timeout = requestTimeout, signal = null) {
    const abort = new AbortController();
    signal?.addEventListener('abort', () => abort.abort());
    const timer = setTimeout(() => abort.abort(), timeout);
    try {
        const response = await fetch(path, {
            method: 'POST',
            headers: { 'Content-Type': 'application/json' },
            body: JSON.stringify(request),
            cache: 'no-store',
            signal: abort.signal,
        });
        if (response.status === 204) return null;
        const body = await response.json();
        if (!response.ok) throw new DeskError(String(body.error ?? 'no-response'), Number(body.seconds) || 0);
        return body;
    } catch (error) {
        if (error instanceof DeskError) throw error;
        throw new DeskError('no-response'); // no network, timed out, or not the desk's JSON
    } finally {
        clearTimeout(timer);
    }
}
