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

export const fetchRoles = (credential) => post('/api/roles', credential);
export const fetchCard = (credential) => post('/api/card', credential);
export const join = (request) => post('/api/join', request, joinTimeout);
export const sendAnswer = (session, sdpAnswer) => post('/api/answer', { session, ...sdpAnswer });
export const sendState = (session, state, signal) => post('/api/state', { session, ...state }, stateTimeout, signal);

export const call = (session, channel, on) => post('/api/call', { session, channel, on });
export const acknowledge = (session, channel, isCall) => post('/api/acknowledge', { session, channel, call: isCall });

/**
 * Is sent even while the page is being closed, without waiting for a response. Not by sendBeacon(): with this page's
 * referrer policy Firefox sends a beacon without its origin, and the desk rejects it.
 */
export function leave(session) {
    fetch('/api/leave', { method: 'POST', body: JSON.stringify({ session }), keepalive: true }).catch(() => {});
}

export const eventsAddress = (session) => `/api/events?session=${encodeURIComponent(session)}`;

// What the desk's own page asks.

export const openDesk = (key) => post('/api/desk/open', { key });
export const closeKeys = (session, member) => post('/api/desk/close-keys', { session, member });
export const speak = (session, channels, text) => post('/api/desk/speak', { session, channels, text });
/** `what`: 'call', 'standby', 'go' or 'clear'; the text is a light's. */
export const signal = (session, what, channels, text) => post(`/api/desk/${what}`, { session, channels, text });
export const silence = (session) => post('/api/desk/silence', { session });
export const deskEventsAddress = (session) => `/api/desk/events?session=${encodeURIComponent(session)}`;

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
