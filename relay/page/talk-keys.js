// What the talk keys of one role do. Has no screen and no clock: it is told the time, in milliseconds of a
// monotonic clock.

/** A press shorter than this is a tap: it latches the key, or releases a latched one. */
export const tapTime = 200;

/** A release takes effect this much later (hang time), so that the last syllable is not cut off. */
export const hangTime = 120;

/** A finger that has moved further than this cannot latch. */
export const swipeDistance = 12; // CSS pixels

/** A finger that moves less than this is resting. */
export const restRadius = 6; // CSS pixels

/** A thumb that rolls as it lands moves less than this; one that moves further before its key is open swipes. */
export const rollDistance = 32; // CSS pixels

/**
 * The keys of a role. A key opens one channel or several; it is held, latched or idle. What presses it
 * is called a hand: a finger, a mouse button or a key of the keyboard, each with its own name.
 *
 * A press opens the channels at once, or once the finger has rested for the press's delay: a finger that keeps moving
 * is a swipe and opens nothing. An open key stays open until it is released, wherever the finger goes meanwhile.
 * Only a short, undisturbed press latches. A press on a latched key changes nothing until it is released, so that a
 * disturbed one leaves the latch alone.
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

    /**
     * False if the press was ignored: the keys are unusable, or that hand is already pressing. `delay` is how long a
     * finger must rest at `x` and `y` before the key opens.
     */
    press(hand, key, now, { x = 0, y = 0, delay = 0 } = {}) {
        if (!this.#usable || !this.#channels[key] || this.#presses.has(hand)) return false;
        const mayLatch = this.#presses.size === 0;
        this.forbidLatch();
        const rest = { x, y };
        const releases = this.#isLatched(key);
        this.#change(now, () => {
            this.#presses.set(hand, { key, since: now, x, y, rest, delay, opensAt: now + delay, mayLatch, releases });
        });
        return true;
    }

    /** What presses now latches nothing: there is a second finger, or it is a palm. */
    forbidLatch() {
        for (const press of this.#presses.values()) press.mayLatch = false;
    }

    release(hand, now) {
        const press = this.#presses.get(hand);
        if (!press) return;
        const isSwipe = press.mayBeSwipe && now < press.opensAt;
        this.#change(now, () => {
            this.#presses.delete(hand);
            if (isSwipe) return;
            if (press.releases) this.#setLatched(press.key, false);
            else if (press.mayLatch && now - press.since < tapTime) this.#setLatched(press.key, true);
        });
    }

    move(hand, now, x, y) {
        const press = this.#presses.get(hand);
        if (!press) return;
        const distance = Math.hypot(x - press.x, y - press.y);
        if (distance > swipeDistance) press.mayLatch = false;
        if (now >= press.opensAt) return;
        if (distance > swipeDistance) press.mayBeSwipe = true;
        if (distance > rollDistance) press.opensAt = Infinity;
        else if (Math.hypot(x - press.rest.x, y - press.rest.y) > restRadius) {
            press.rest = { x, y };
            press.opensAt = now + press.delay;
        }
    }

    /** The press was cancelled: nothing is latched or unlatched. True if a channel closes. */
    cancel(hand, now) {
        return this.cancelHands(now, (name) => name === hand);
    }

    cancelHands(now, which = () => true) {
        const before = this.#open(now).size;
        this.#change(now, () => {
            for (const hand of [...this.#presses.keys()]) if (which(hand)) this.#presses.delete(hand);
        });
        return this.#open(now).size < before;
    }

    /** A press without a duration, as from a screen reader. */
    toggle(key, now) {
        if (!this.#usable || !this.#channels[key]) return;
        for (const press of this.#presses.values()) if (press.key === key) return;
        this.#change(now, () => this.#setLatched(key, !this.#isLatched(key)));
    }

    /** Turns everything off, without hang time. True if anything was on. */
    allOff() {
        const was = this.#presses.size > 0 || this.#latched.size > 0;
        this.#presses.clear();
        this.#latched.clear();
        this.#closing.clear();
        return was;
    }

    /** 'idle', 'held' or 'latched'. */
    state(key, now) {
        if (this.#isLatched(key)) return 'latched';
        const open = this.#open(now);
        return this.#channels[key].every((channel) => open.has(channel)) ? 'held' : 'idle';
    }

    isPressed(hand) {
        return this.#presses.has(hand);
    }

    isPressedBySome(which) {
        return [...this.#presses.keys()].some(which);
    }

    /** False before a finger has rested for its delay. */
    isOpen(hand, now) {
        return now >= this.#presses.get(hand)?.opensAt;
    }

    /** The channels that are open at `now`, hang time included, in ascending order. */
    talking(now) {
        const open = this.#open(now);
        for (const [channel, until] of this.#closing) if (until > now) open.add(channel);
        return [...open].sort((a, b) => a - b);
    }

    /** When talking() will change without a press or release; null if it will not. */
    nextChange(now) {
        const begins = [...this.#presses.values()].map(({ opensAt }) => opensAt);
        const changes = [...begins, ...this.#closing.values()].filter((time) => time > now && time < Infinity);
        return changes.length > 0 ? Math.min(...changes) : null;
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

    #open(now) {
        const open = new Set(this.#latched);
        for (const { key, opensAt } of this.#presses.values()) {
            if (now >= opensAt) for (const channel of this.#channels[key]) open.add(channel);
        }
        return open;
    }

    /** Makes a change; the channels that it closes get their hang time. */
    #change(now, change) {
        const before = this.#open(now);
        change();
        const after = this.#open(now);
        for (const [channel, until] of [...this.#closing]) {
            if (until <= now || after.has(channel)) this.#closing.delete(channel);
        }
        for (const channel of before) if (!after.has(channel)) this.#closing.set(channel, now + hangTime);
    }
}
