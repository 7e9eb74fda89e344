// The state of the connection to the desk: heartbeat and media timeouts, a second way to the desk while nothing is
// received (ICE restart), joining again with exponential backoff.
// Has no network and no clock: it is told what happened and the time, in milliseconds of a monotonic clock.
import { SecondWay } from './second-way.js';

/** Milliseconds after which the connection counts as interrupted, by the reason given for it. */
export const timeouts = {
    'no heartbeat': 7000,
    disconnected: 3000, // as RTCPeerConnection reports it
    'no packets': 3000, // RTCPeerConnection itself may take a minute to notice
    'connection failed': 0,
    'not connected': 10000, // since joining
};

/** Milliseconds that a desk responds while the connection stays interrupted: then only joining again helps. */
export const respondingTimeout = 2000;
export const eventsTimeout = 4500; // without a heartbeat: the TCP connection of the events may be dead

export const firstRetry = 500; // milliseconds; doubles with every failure
const maxRetry = 5000;
const offAirRetry = 3000;
// After a goodbye of the desk, it is probably on air again soon: it was stopped and started, or another one takes over.
export const comingBackRetry = 600;
export const comingBackTime = 60000;
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
    #retryWindow = firstRetry;
    #comingBackUntil = -Infinity;

    // Of the current attempt.
    #timers = new Map(); // keys of `timeouts`, and since when each runs
    #heartbeatSeen = false;
    #peerState = 'new';
    #packets = null;
    #secondWay = null; // once the call has connected
    #respondedAt = null; // the desk's first response since the interruption began
    #eventsAt = 0; // when the newest came, or events were opened

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

    /** True while there is a session and nothing comes from the desk. */
    get isInterrupted() {
        return this.#lost && this.#hasSession();
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
        this.#comingBackUntil = -Infinity;
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
        this.#eventsAt = now;
    }

    /** `error` is the desk's, or 'no-response'; `seconds` is after how long the desk wants to be asked again. */
    joinFailed(error, now, seconds = 0) {
        if (this.#state !== 'joining') return;
        if (finalErrors.has(error) || (error === 'full' && !this.#hasBeenConnected)) {
            this.#finalError = error;
            this.#state = 'closed';
            return;
        }
        this.#lossReason = error;
        this.#lost = true;
        if (seconds > 0) {
            this.#retryIn(seconds * 1000, now);
            this.#mayRetryEarly = false;
        } else this.#backOff(now);
    }

    /** Any event of the desk counts as a heartbeat. */
    heartbeat(now) {
        if (!this.#hasSession()) return;
        this.#timers.set('no heartbeat', now);
        this.#eventsAt = now;
        this.#heartbeatSeen = true;
        this.#checkConnected();
    }

    /** True when the page must open the desk's events again, for want of heartbeats. */
    mustReopenEvents(now) {
        if (!this.#hasSession() || now - this.#eventsAt < eventsTimeout) return false;
        this.#eventsAt = now;
        return true;
    }

    /** `window` is the time, in milliseconds, over which the desk wants the first retries of its crew spread. */
    spreadRetries(window) {
        this.#retryWindow = window;
    }

    /** The desk has accepted a request of this session. If audio is missing, the network may have just come back. */
    responded(now) {
        if (!this.isInterrupted || this.#respondedAt !== null) return;
        this.#respondedAt = now;
        this.#secondWay?.want();
        this.#eventsAt = -Infinity;
    }

    /** `state` is RTCPeerConnection.connectionState. */
    peerStateChanged(state, now) {
        if (!this.#hasSession()) return;
        this.#peerState = state;
        const isOver = state === 'closed' || (state === 'failed' && this.#state === 'connecting');
        if (isOver) return this.#lose(`connection ${state}`, now);
        this.#startOrStop('disconnected', state === 'disconnected', now);
        this.#startOrStop('connection failed', state === 'failed', now);
        if (state === 'disconnected' || state === 'failed') this.#secondWay?.want();
        if (state === 'connected' && !this.#timers.has('no packets')) {
            this.#timers.set('no packets', now);
            this.#secondWay = new SecondWay(now, this.#random);
        }
        this.#checkConnected();
    }

    /**
     * How many packets have been received so far; null before the first one. True if they are back after a second way
     * was tried.
     */
    packetsReceived(count, now) {
        if (!this.#hasSession() || count === this.#packets) return false;
        this.#packets = count;
        if (this.#timers.has('no packets')) this.#timers.set('no packets', now);
        return this.#secondWay?.packetsReceived(now) ?? false;
    }

    /** This device may have other addresses now. */
    networkChanged() {
        this.#secondWay?.want();
    }

    /** True when the page must try a second way now. To be asked right after what it depends on was told. */
    mustTrySecondWay(now) {
        return this.#state === 'connected' && this.#secondWay.mustTry(now);
    }

    /** The desk no longer knows the session, or the call failed. */
    lose(reason, now) {
        if (this.#hasSession()) this.#lose(reason, now);
    }

    /** `retry` is after how many milliseconds to join again, if the desk tells: each page has a time of its own. */
    goodbye(reason, now, retry = null) {
        if (!this.#hasSession()) return;
        this.#offAir = reason === 'off-air';
        if (this.#offAir || retry !== null) this.#comingBackUntil = now + comingBackTime;
        this.#lose(`goodbye ${reason}`, now);
        if (retry !== null) this.#retryIn(retry, now);
    }

    /** Milliseconds until tick() is to be called for the next retry; null if none is due. */
    timeToRetry(now) {
        return this.#state === 'waiting' ? Math.max(0, this.#retryAt - now) : null;
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

    #startOrStop(reason, runs, now) {
        if (!runs) this.#timers.delete(reason);
        else if (!this.#timers.has(reason)) this.#timers.set(reason, now);
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
        this.#comingBackUntil = -Infinity;
    }

    /**
     * An interrupted connection is kept, as it may recover by itself. It is given up when the desk can be reached and
     * does not know what is wrong.
     */
    #checkTimeouts(now) {
        const reason = Object.keys(timeouts).find((key) => now - this.#timers.get(key) > timeouts[key]);
        if (reason === undefined) {
            this.#respondedAt = null;
            this.#lost = false;
            return;
        }
        const isFutile = this.#respondedAt !== null && now - this.#respondedAt >= respondingTimeout;
        if (this.#state === 'connecting' || isFutile) return this.#lose(reason, now);
        this.#lossReason = reason;
        this.#lost = true;
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

    /**
     * Exponential backoff with jitter. The first retry comes within the window that the desk has told. A desk that is
     * coming back is asked more often, but by the whole crew together no more often than it can take them.
     */
    #backOff(now) {
        if (now < this.#comingBackUntil) {
            return this.#retryIn(this.#withJitter(Math.max(comingBackRetry, this.#retryWindow)), now);
        }
        if (this.#offAir) return this.#retryIn(this.#withJitter(offAirRetry), now);
        const wait = Math.min(maxRetry, firstRetry * 2 ** this.#failures);
        this.#retryIn(this.#failures > 0 ? this.#withJitter(wait) : this.#random() * this.#retryWindow, now);
        this.#failures = Math.min(this.#failures + 1, 16);
    }

    #withJitter(wait) {
        return wait * (0.5 + 0.5 * this.#random());
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
        this.#secondWay = null;
        this.#respondedAt = null;
    }
}
