// The calls and cue lights that wait for this person's answer. Has no screen and no clock.

/** What has just appeared cannot be answered yet: the tap was meant for what was there before. */
export const minShown = 500; // milliseconds

export class Signals {
    #waiting = new Map(); // by channel and sort, in the order in which they came
    #shownSince = 0; // of the first

    /**
     * Takes the desk's {call, light} of each channel. Returns those that are new: {channel, kind, from, text}, where
     * `kind` is 'call', 'standby' or 'go'.
     */
    update(channels, now) {
        const found = new Map();
        channels.forEach(({ call = null, light = null }, channel) => {
            if (call && !call.mine && !call.acknowledged) {
                found.set(`${channel} call`, { channel, kind: 'call', from: String(call.from), text: '' });
            }
            if (light && !light.acknowledged) {
                found.set(`${channel} light`, { channel, kind: light.kind, from: '', text: String(light.text) });
            }
        });
        const before = this.first;
        const isSame = (name) => JSON.stringify(found.get(name)) === JSON.stringify(this.#waiting.get(name));
        for (const name of [...this.#waiting.keys()]) if (!isSame(name)) this.#waiting.delete(name);
        const news = [...found].filter(([name]) => !this.#waiting.has(name));
        for (const [name, signal] of news) this.#waiting.set(name, signal);
        if (this.first !== before) this.#shownSince = now;
        return news.map(([, signal]) => signal);
    }

    /** The one to be answered next, or null. */
    get first() {
        return this.#waiting.values().next().value ?? null;
    }

    get count() {
        return this.#waiting.size;
    }

    /** True while a call waits: it sounds and vibrates until it is answered. */
    get isCalled() {
        return [...this.#waiting.values()].some(({ kind }) => kind === 'call');
    }

    mayAnswer(now) {
        return this.first !== null && now - this.#shownSince >= minShown;
    }
}
