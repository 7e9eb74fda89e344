// The requests to the desk. Each resolves to what the desk answered, or throws a Refusal.

const patience = 8000; // milliseconds
const patienceForJoining = 15000;

/** The desk said no, or nothing: `error` is its word, or 'no-answer'. */
export class Refusal extends Error {
    constructor(error, seconds = 0) {
        super(error);
        this.error = error;
        this.seconds = seconds;
    }
}

export const fetchRoles = (code) => post('/api/roles', { code });
export const fetchCard = (code) => post('/api/card', { code });
export const join = (request) => post('/api/join', request, patienceForJoining);
export const sendAnswer = (session, answer) => post('/api/answer', { session, ...answer });
export const sendState = (session, state) => post('/api/state', { session, ...state });

/** Goes out even while the page is being closed; nobody waits for it. */
export function leave(session) {
    const body = JSON.stringify({ session });
    if (navigator.sendBeacon?.('/api/leave', body)) return;
    fetch('/api/leave', { method: 'POST', body, keepalive: true }).catch(() => {});
}

export const eventsAddress = (session) => `/api/events?session=${encodeURIComponent(session)}`;

async function post(path, body, limit = patience) {
    const abort = new AbortController();
    const timer = setTimeout(() => abort.abort(), limit);
    try {
        const response = await fetch(path, {
            method: 'POST',
            headers: { 'Content-Type': 'application/json' },
            body: JSON.stringify(body),
            cache: 'no-store',
            signal: abort.signal,
        });
        if (response.status === 204) return null;
        const answer = await response.json();
        if (!response.ok) throw new Refusal(String(answer.error ?? 'no-answer'), Number(answer.seconds) || 0);
        return answer;
    } catch (error) {
        if (error instanceof Refusal) throw error;
        throw new Refusal('no-answer'); // no network, too slow, or not in the desk's words
    } finally {
        clearTimeout(timer);
    }
}
