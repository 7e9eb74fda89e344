// What the talk keys of one role do. Has no screen and no clock: it is told the time, in milliseconds of a
// monotonic clock.

/** A press shorter than this is a tap: it latches the key, or releases a latched one. */
export const tapTime = 200;

/** A release takes effect this much later (hang time), so that the last syllable is not cut off. */
export const hangTime = 120;

/** A finger that moves further than this during a tap is a swipe. */
export const swipeDistance = 12; // CSS pixels

/**
 * The keys of a role. A key opens one channel or several; it is held, latched or idle. What presses it
 * is called a hand: a finger, a mouse button or a key of the keyboard, each with its own name.
 *
 * A press opens the channels at once. Only a short, undisturbed press latches: a second finger, a scroll or
 * the system taking the touch away releases it instead. A press on a latched key changes nothing until it is
 * released, so that a disturbed one leaves the latch alone.
 */
export class TalkKeys {
    #channels; // of each key
    #presses = new Map(); // by hand
    #latched = new Set(); // channels
    #closing = new Map(); // channels in their hang time, and until when
    #usable = true;

    /** `channelsOfKeys`: the channels that each key opens, as in [[0], [2], [0, 2]]. */
    constructor(channelsOfKeys) {
        this.#channels = channelsOfKeys.map((channels) => [...channels]);
    }

    /** Unusable keys turn off at once and stay off. */
    setUsable(usable) {
        this.#usable = usable;
        if (!usable) this.allOff();
    }

    /** False if the press was ignored: the keys are unusable, or that hand is already pressing. */
    press(hand, key, now, x = 0, y = 0) {
        if (!this.#usable || !this.#channels[key] || this.#presses.has(hand)) return false;
        const alone = this.#presses.size === 0;
        for (const other of this.#presses.values()) other.mayLatch = false;
        this.#change(now, () => {
            this.#presses.set(hand, { key, since: now, x, y, mayLatch: alone, releases: this.#isLatched(key) });
        });
        return true;
    }

    release(hand, now) {
        const press = this.#presses.get(hand);
        if (!press) return;
        this.#change(now, () => {
            this.#presses.delete(hand);
            if (press.releases) this.#setLatched(press.key, false);
            else if (press.mayLatch && now - press.since < tapTime) this.#setLatched(press.key, true);
        });
    }

    /** The hand has moved; `onKey` is true while it is still on or near the key that it pressed. */
    move(hand, now, x, y, onKey) {
        const press = this.#presses.get(hand);
        if (!press) return;
        const strayed = Math.hypot(x - press.x, y - press.y) > swipeDistance;
        if (strayed) press.mayLatch = false;
        // After a while of talking a thumb drifts; that must not cut it off.
        if (!onKey || (strayed && now - press.since < tapTime)) this.cancel(hand, now);
    }

    /** The press was cancelled: a held key is released, nothing is latched or unlatched. */
    cancel(hand, now) {
        this.#change(now, () => this.#presses.delete(hand));
    }

    cancelHands(now, which = () => true) {
        this.#change(now, () => {
            for (const hand of [...this.#presses.keys()]) if (which(hand)) this.#presses.delete(hand);
        });
    }

    /** A press without a duration, as from a screen reader. */
    toggle(key, now) {
        if (!this.#usable || !this.#channels[key]) return;
        for (const press of this.#presses.values()) if (press.key === key) return;
        this.#change(now, () => this.#setLatched(key, !this.#isLatched(key)));
    }

    /** Turns everything off, without hang time. True if anything was on. */
    allOff() {
        const was = this.#open().size > 0 || this.#closing.size > 0;
        this.#presses.clear();
        this.#latched.clear();
        this.#closing.clear();
        return was;
    }

    /** 'idle', 'held' or 'latched'. */
    state(key) {
        if (this.#isLatched(key)) return 'latched';
        const open = this.#open();
        return this.#channels[key].every((channel) => open.has(channel)) ? 'held' : 'idle';
    }

    isPressed(hand) {
        return this.#presses.has(hand);
    }

    /** The channels that are open at `now`, hang time included, in ascending order. */
    talking(now) {
        const open = this.#open();
        for (const [channel, until] of this.#closing) if (until > now) open.add(channel);
        return [...open].sort((a, b) => a - b);
    }

    /** When talking() will change without a press or release; null if it will not. */
    nextChange(now) {
        const ends = [...this.#closing.values()].filter((until) => until > now);
        return ends.length > 0 ? Math.min(...ends) : null;
    }

    #isLatched(key) {
        return this.#channels[key].every((channel) => this.#latched.has(channel));
    }

    #setLatched(key, on) {
        for (const channel of this.#channels[key]) {
            if (on) this.#latched.add(channel);
            else this.#latched.delete(channel);
        }
    }

    #open() {
        const open = new Set(this.#latched);
        for (const { key } of this.#presses.values()) for (const channel of this.#channels[key]) open.add(channel);
        return open;
    }

    /** Makes a change; the channels that it closes get their hang time. */
    #change(now, change) {
        const before = this.#open();
        change();
        const after = this.#open();
        for (const [channel, until] of [...this.#closing]) {
            if (until <= now || after.has(channel)) this.#closing.delete(channel);
        }
        for (const channel of before) if (!after.has(channel)) this.#closing.set(channel, now + hangTime);
    }
}
