// When the line to the desk is up, when it is lost and when to join anew. Knows no network and no
// clock: it is told what happened and the time, in milliseconds of a clock that only goes forward.

export const lineTimes = {
    eventsDead: 7000, // without any event
    disconnected: 3000, // of the connection saying so of itself
    still: 3000, // without a packet: the connection itself may take a minute to notice
    connect: 10000, // from joining until the line must be up
    firstWait: 500, // before the first new try; doubles
    longestWait: 5000,
    offAirWait: 3000, // between two quiet tries while the desk is off air
    slept: 2000, // between two ticks: the page was not running
    grace: 2500, // after sleeping, for what has queued up to come in
};

/** Answers to joining that another try would not change. */
const final = new Set(['no-such-role', 'wrong-code']);

export class Line {
    #times;
    #random;
    #state = 'closed'; // closed, waiting, joining, connecting, up
    #hasBeenUp = false;
    #lost = false;
    #offAir = false;
    #ended = null;
    #tries = 0;
    #dueAt = 0;
    #mayHasten = true;
    #lastTick = null;
    #why = null;

    // Since when, each null while it does not apply.
    #joinedAt = null;
    #signAt = null;
    #heard = false;
    #connection = 'new';
    #disconnectedAt = null;
    #packets = null;
    #packetsAt = null;

    /** `random` gives numbers from 0 to 1, so that a whole crew does not come back at one moment. */
    constructor({ times = lineTimes, random = Math.random } = {}) {
        this.#times = times;
        this.#random = random;
    }

    /** 'closed', 'connecting', 'on-air', 'lost', 'off-air' or 'ended': what a person is told. */
    get shown() {
        if (this.#ended) return 'ended';
        if (this.#state === 'closed') return 'closed';
        if (this.#offAir) return 'off-air';
        if (this.#lost) return 'lost';
        return this.#state === 'up' ? 'on-air' : 'connecting';
    }

    /** True while there is nothing to keep: no session, and none being asked for. */
    get rests() {
        return this.#state === 'waiting' || this.#state === 'closed';
    }

    /** The answer that ended it, while shown is 'ended'. */
    get ended() {
        return this.#ended;
    }

    /** What the line was lost by the last time: a word for whoever looks for the reason. */
    get why() {
        return this.#why;
    }

    open(now) {
        this.#ended = null;
        this.#hasBeenUp = false;
        this.#lost = false;
        this.#offAir = false;
        this.#tries = 0;
        this.#wait(now, 0);
    }

    close() {
        this.#state = 'closed';
        this.#forgetWatches();
    }

    /** True when the page is to join now; it must tell the outcome by joined() or refused(). */
    tick(now) {
        const slept = this.#lastTick !== null && now - this.#lastTick > this.#times.slept;
        this.#lastTick = now;
        if (slept) this.#forgive(now);
        if (this.#state === 'connecting' || this.#state === 'up') this.#watch(now);
        if (this.#state !== 'waiting' || now < this.#dueAt) return false;
        this.#state = 'joining';
        return true;
    }

    joined(now) {
        if (this.#state !== 'joining') return;
        this.#forgetWatches();
        this.#state = 'connecting';
        this.#lost = false;
        this.#offAir = false;
        this.#joinedAt = now;
        this.#signAt = now;
    }

    /** Joining failed with that error of the desk, or with 'no-answer'. */
    refused(error, now, seconds = 0) {
        if (this.#state !== 'joining') return;
        if (final.has(error) || (error === 'full' && !this.#hasBeenUp)) {
            this.#ended = error;
            this.#state = 'closed';
            return;
        }
        this.#why = error;
        this.#lost = true;
        if (error === 'slow-down') {
            this.#wait(now, Math.max(1, seconds) * 1000);
            this.#mayHasten = false;
        } else this.#waitForNextTry(now);
    }

    /** An event of the desk has come. */
    sign(now) {
        if (!this.#isWatched()) return;
        this.#signAt = now;
        this.#heard = true;
        this.#settle();
    }

    /** The connection's state, in the words of RTCPeerConnection. */
    connection(state, now) {
        if (!this.#isWatched()) return;
        this.#connection = state;
        if (state === 'failed' || state === 'closed') return this.#lose(`connection ${state}`, now);
        this.#disconnectedAt = state === 'disconnected' ? (this.#disconnectedAt ?? now) : null;
        if (state === 'connected') this.#packetsAt ??= now;
        this.#settle();
    }

    /** How many packets have come in so far; null before the first one. */
    packets(count, now) {
        if (!this.#isWatched() || count === this.#packets) return;
        this.#packets = count;
        if (this.#packetsAt !== null) this.#packetsAt = now;
    }

    /** The desk does not know the session any more, or a request got no answer. */
    gone(why, now) {
        if (this.#isWatched()) this.#lose(why, now);
    }

    goodbye(reason, now) {
        if (!this.#isWatched()) return;
        this.#lose(`goodbye ${reason}`, now);
        this.#offAir = reason === 'off-air';
        if (this.#offAir) this.#wait(now, this.#times.offAirWait);
    }

    /** Joins anew although nothing is wrong: the call is to carry something else from now on. */
    renew(now) {
        if (!this.#isWatched()) return;
        this.#forgetWatches();
        this.#wait(now, 0);
    }

    /** The network or the person is back: a try that waits is made at once. */
    hasten(now) {
        if (this.#state !== 'waiting' || !this.#mayHasten) return;
        this.#tries = 0;
        this.#dueAt = now;
    }

    #isWatched() {
        return this.#state === 'connecting' || this.#state === 'up';
    }

    #settle() {
        if (this.#state !== 'connecting' || this.#connection !== 'connected' || !this.#heard) return;
        this.#state = 'up';
        this.#hasBeenUp = true;
        this.#tries = 0;
    }

    #watch(now) {
        const over = (since, limit) => since !== null && now - since > limit;
        if (over(this.#signAt, this.#times.eventsDead)) this.#lose('no events', now);
        else if (over(this.#disconnectedAt, this.#times.disconnected)) this.#lose('disconnected', now);
        else if (over(this.#packetsAt, this.#times.still)) this.#lose('no packets', now);
        else if (this.#state === 'connecting' && over(this.#joinedAt, this.#times.connect)) this.#lose('not up', now);
    }

    /** A page that has slept saw nothing: its watches are not overdue, but do not start from zero either. */
    #forgive(now) {
        const late = (since, limit) => (since === null ? null : Math.max(since, now - limit + this.#times.grace));
        this.#signAt = late(this.#signAt, this.#times.eventsDead);
        this.#disconnectedAt = late(this.#disconnectedAt, this.#times.disconnected);
        this.#packetsAt = late(this.#packetsAt, this.#times.still);
        this.#joinedAt = late(this.#joinedAt, this.#times.connect);
    }

    #lose(why, now) {
        this.#why = why;
        this.#lost = true;
        this.#forgetWatches();
        this.#waitForNextTry(now);
    }

    #waitForNextTry(now) {
        if (this.#offAir) return this.#wait(now, this.#times.offAirWait);
        const longest = Math.min(this.#times.longestWait, this.#times.firstWait * 2 ** this.#tries);
        this.#tries = Math.min(this.#tries + 1, 16);
        this.#wait(now, Math.max(this.#times.firstWait, longest * (0.8 + 0.2 * this.#random())));
    }

    #wait(now, duration) {
        this.#state = 'waiting';
        this.#dueAt = now + duration;
        this.#mayHasten = true;
    }

    #forgetWatches() {
        this.#joinedAt = null;
        this.#signAt = null;
        this.#heard = false;
        this.#connection = 'new';
        this.#disconnectedAt = null;
        this.#packets = null;
        this.#packetsAt = null;
    }
}
