// The state of the connection to the desk: heartbeat and media timeouts, reconnecting with exponential backoff.
// Has no network and no clock: it is told what happened and the time, in milliseconds of a monotonic clock.

/** Milliseconds after which the connection counts as lost, by the reason given for it. */
export const timeouts = {
    'no heartbeat': 7000,
    disconnected: 3000, // as RTCPeerConnection reports it
    'no packets': 3000, // RTCPeerConnection itself may take a minute to notice
    'not connected': 10000, // since joining
};

export const firstRetry = 500; // milliseconds; doubles with every failure
const maxRetry = 5000;
const offAirRetry = 3000;
const suspendedAfter = 2000; // between two ticks: the page was not running
export const resumeGrace = 2500; // for what has queued up while the page was suspended

/** Errors of joining that a retry would not change. */
const finalErrors = new Set(['no-such-role', 'wrong-code']);

export class Connection {
    #random;
    #state = 'closed'; // closed, waiting, joining, connecting, connected
    #hasBeenConnected = false;
    #lost = false;
    #offAir = false;
    #finalError = null;
    #failures = 0;
    #retryAt = 0;
    #mayRetryEarly = true;
    #lastTick = null;
    #lossReason = null;

    // Of the current attempt.
    #timers = new Map(); // keys of `timeouts`, and since when each runs
    #heartbeatSeen = false;
    #peerState = 'new';
    #packets = null;

    /** `random` gives numbers from 0 to 1: the jitter that keeps the crew from reconnecting all at once. */
    constructor(random = Math.random) {
        this.#random = random;
    }

    /** 'closed', 'connecting', 'on-air', 'lost', 'off-air' or 'ended': what the user is shown. */
    get status() {
        if (this.#finalError) return 'ended';
        if (this.#state === 'closed') return 'closed';
        if (this.#offAir) return 'off-air';
        if (this.#lost) return 'lost';
        return this.#state === 'connected' ? 'on-air' : 'connecting';
    }

    /** True while there is no session and none is being requested. */
    get isIdle() {
        return this.#state === 'waiting' || this.#state === 'closed';
    }

    /** The error that ended it, while the status is 'ended'. */
    get finalError() {
        return this.#finalError;
    }

    /** Why the connection was lost the last time, for debugging. */
    get lossReason() {
        return this.#lossReason;
    }

    open(now) {
        this.#finalError = null;
        this.#hasBeenConnected = false;
        this.#lost = false;
        this.#offAir = false;
        this.#failures = 0;
        this.#retryIn(0, now);
    }

    close() {
        this.#state = 'closed';
        this.#resetAttempt();
    }

    /** True when the page must join now and report the result with joined() or joinFailed(). */
    tick(now) {
        const suspended = this.#lastTick !== null && now - this.#lastTick > suspendedAfter;
        this.#lastTick = now;
        if (suspended) this.#extendTimeouts(now);
        if (this.#hasSession()) this.#checkTimeouts(now);
        if (this.#state !== 'waiting' || now < this.#retryAt) return false;
        this.#state = 'joining';
        return true;
    }

    joined(now) {
        if (this.#state !== 'joining') return;
        this.#resetAttempt();
        this.#state = 'connecting';
        this.#lost = false;
        this.#offAir = false;
        this.#timers.set('not connected', now);
        this.#timers.set('no heartbeat', now);
    }

    /** `error` is the desk's, or 'no-response'; `seconds` is how long the desk's rate limit lasts. */
    joinFailed(error, now, seconds = 0) {
        if (this.#state !== 'joining') return;
        if (finalErrors.has(error) || (error === 'full' && !this.#hasBeenConnected)) {
            this.#finalError = error;
            this.#state = 'closed';
            return;
        }
        this.#lossReason = error;
        this.#lost = true;
        if (error === 'slow-down') {
            this.#retryIn(Math.max(1, seconds) * 1000, now);
            this.#mayRetryEarly = false;
        } else this.#backOff(now);
    }

    /** Any event of the desk counts as a heartbeat. */
    heartbeat(now) {
        if (!this.#hasSession()) return;
        this.#timers.set('no heartbeat', now);
        this.#heartbeatSeen = true;
        this.#checkConnected();
    }

    /** `state` is RTCPeerConnection.connectionState. */
    peerStateChanged(state, now) {
        if (!this.#hasSession()) return;
        this.#peerState = state;
        if (state === 'failed' || state === 'closed') return this.#lose(`connection ${state}`, now);
        if (state !== 'disconnected') this.#timers.delete('disconnected');
        else if (!this.#timers.has('disconnected')) this.#timers.set('disconnected', now);
        if (state === 'connected' && !this.#timers.has('no packets')) this.#timers.set('no packets', now);
        this.#checkConnected();
    }

    /** How many packets have been received so far; null before the first one. */
    packetsReceived(count, now) {
        if (!this.#hasSession() || count === this.#packets) return;
        this.#packets = count;
        if (this.#timers.has('no packets')) this.#timers.set('no packets', now);
    }

    /** The desk no longer knows the session, or a request failed. */
    lose(reason, now) {
        if (this.#hasSession()) this.#lose(reason, now);
    }

    goodbye(reason, now) {
        if (!this.#hasSession()) return;
        this.#offAir = reason === 'off-air';
        this.#lose(`goodbye ${reason}`, now);
    }

    /** Joins again although nothing is wrong: a call that began without a microphone cannot carry one. */
    rejoin(now) {
        if (!this.#hasSession()) return;
        this.#resetAttempt();
        this.#retryIn(0, now);
    }

    /** The network or the user is back: do not wait for the next retry. */
    retryNow(now) {
        if (this.#state !== 'waiting' || !this.#mayRetryEarly) return;
        this.#failures = 0;
        this.#retryAt = now;
    }

    #hasSession() {
        return this.#state === 'connecting' || this.#state === 'connected';
    }

    #checkConnected() {
        if (this.#state !== 'connecting' || this.#peerState !== 'connected' || !this.#heartbeatSeen) return;
        this.#state = 'connected';
        this.#timers.delete('not connected');
        this.#hasBeenConnected = true;
        this.#failures = 0;
    }

    #checkTimeouts(now) {
        for (const [reason, timeout] of Object.entries(timeouts)) {
            if (now - this.#timers.get(reason) > timeout) return this.#lose(reason, now);
        }
    }

    /** After a suspension timeouts that have passed are extended, but do not start from zero. */
    #extendTimeouts(now) {
        for (const [reason, since] of this.#timers) {
            this.#timers.set(reason, Math.max(since, now - timeouts[reason] + resumeGrace));
        }
    }

    #lose(reason, now) {
        this.#lossReason = reason;
        this.#lost = true;
        this.#resetAttempt();
        this.#backOff(now);
    }

    /** Exponential backoff with jitter. */
    #backOff(now) {
        if (this.#offAir) return this.#retryIn(offAirRetry, now);
        const wait = Math.min(maxRetry, firstRetry * 2 ** this.#failures);
        this.#failures = Math.min(this.#failures + 1, 16);
        this.#retryIn(Math.max(firstRetry, wait * (0.8 + 0.2 * this.#random())), now);
    }

    #retryIn(delay, now) {
        this.#state = 'waiting';
        this.#retryAt = now + delay;
        this.#mayRetryEarly = true;
    }

    #resetAttempt() {
        this.#timers.clear();
        this.#heartbeatSeen = false;
        this.#peerState = 'new';
        this.#packets = null;
    }
}
