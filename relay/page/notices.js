// What the page tells the person: in the second row of the header, to a screen reader, by vibration and by a tone.
import { setText } from './desk-view.js';

// Milliseconds
const noticeTimeout = 12000;
const talkersInterval = 5000;

const find = (id) => document.getElementById(id);

/** By what happened to the keys, for navigator.vibrate(). */
const vibrations = {
    opened: 12,
    latched: [12, 50, 12],
    ended: [90, 60, 90, 60, 90],
    call: [400, 150, 400, 150, 400],
    standby: [200, 100, 200],
    go: 400,
};

/** Does nothing in a browser without vibration, such as Safari, or on a page that was not touched yet. */
export function vibrate(what) {
    if (navigator.userActivation?.hasBeenActive !== false) navigator.vibrate?.(vibrations[what]);
}

/** Plays tones. A device plays them where it plays everything: in the headset, if one is connected. */
class Tones {
    #context = null;

    /** Must be called within a tap. */
    unlock() {
        try {
            this.#context ??= new AudioContext();
        } catch {
            // a browser without: the notice and the vibration remain
        }
    }

    /** One after the other, in hertz; `volume` is from 0 to 1. */
    play(frequencies, volume) {
        const context = this.#context;
        if (!context) return;
        context.resume().catch(() => {});
        frequencies.forEach((frequency, index) => {
            const tone = context.createOscillator();
            const gain = context.createGain();
            const begin = context.currentTime + 0.16 * index;
            tone.frequency.value = frequency;
            gain.gain.setValueAtTime(volume, begin);
            gain.gain.setTargetAtTime(0, begin + 0.1, 0.02);
            tone.connect(gain).connect(context.destination);
            tone.start(begin);
            tone.stop(begin + 0.25);
        });
    }
}

/** Two falling tones for those who do not look: talking has ended though they did not end it. */
export class EndTone extends Tones {
    play() {
        super.play([660, 440], 0.08);
    }
}

/** Rings as loud as a page can, for those who have taken the headset off. */
export class CallTone extends Tones {
    play() {
        super.play([880, 1175, 880, 1175, 880, 1175], 0.9);
    }
}

/** The header's second row, which shows one thing at a time. Its space is reserved: no key moves under a thumb. */
export class Notices {
    #notice = '';
    #warning = '';
    #talking = '';
    #show = '';
    #timer = 0;

    setShow(name) {
        this.#show = name;
        this.#draw();
    }

    setTalking(text) {
        this.#talking = text;
        this.#draw();
    }

    /** A notice goes after a while, or when it is replaced by ''. */
    notify(text) {
        if (text === this.#notice) return;
        this.#notice = text;
        clearTimeout(this.#timer);
        if (text) {
            this.#timer = setTimeout(() => this.notify(''), noticeTimeout);
            tell('assertive', text);
        }
        this.#draw();
    }

    /** A warning stays until it is replaced by ''. */
    warn(text) {
        if (text === this.#warning) return;
        this.#warning = text;
        if (text) tell('assertive', text);
        this.#draw();
    }

    #draw() {
        const kinds = { notice: this.#notice || this.#warning, talking: this.#talking, show: this.#show };
        const kind = Object.keys(kinds).find((name) => kinds[name]) ?? 'show';
        setText(find('notice'), kinds[kind]);
        find('notice').dataset.kind = kind;
    }
}

const announcementTimeout = 10000; // milliseconds after its end
const maxAnnouncements = 5;

/** The text of an announcement: over the keys, which work meanwhile, until a while after it was spoken. */
export class Announcements {
    #texts = []; // the newest first
    #isSpoken = false;
    #timer = 0;

    begin(text, words) {
        this.#texts = [text, ...this.#texts].slice(0, maxAnnouncements);
        clearTimeout(this.#timer);
        find('announcement').textContent = text;
        find('announcement').hidden = false;
        tell('polite', words);
        find('announcements').hidden = false;
        find('announcement-list').replaceChildren(
            ...this.#texts.map((old) => {
                const row = document.createElement('li');
                row.dir = 'auto';
                row.textContent = old;
                return row;
            }),
        );
        this.#isSpoken = false;
        this.#hideLater(); // in case its end is never told
    }

    /** `isSpoken`: whether any announcement is being played. */
    update(isSpoken) {
        if (isSpoken) clearTimeout(this.#timer);
        else if (this.#isSpoken) this.#hideLater();
        this.#isSpoken = isSpoken;
    }

    #hideLater() {
        clearTimeout(this.#timer);
        this.#timer = setTimeout(() => {
            find('announcement').hidden = true;
        }, announcementTimeout);
    }
}

/** Has a screen reader say it: `region` is 'assertive', 'polite' or 'own', which is about the person's own keys. */
export function tell(region, words) {
    find(region).textContent = words;
}

/** Tells who begins to talk, at intervals: a screen reader that announces everyone at once would drown them out. */
export class TalkersTeller {
    #before = new Set();
    #toTell = new Map();
    #timer = 0;

    /** `talkers`: a sentence for everyone who talks now, by who and where. */
    update(talkers) {
        for (const [who, words] of talkers) if (!this.#before.has(who)) this.#toTell.set(who, words);
        for (const who of this.#toTell.keys()) if (!talkers.has(who)) this.#toTell.delete(who);
        this.#before = new Set(talkers.keys());
        this.#tell();
    }

    #tell() {
        if (this.#timer || this.#toTell.size === 0) return;
        tell('polite', [...this.#toTell.values()].join(', '));
        this.#toTell.clear();
        this.#timer = setTimeout(() => {
            this.#timer = 0;
            this.#tell();
        }, talkersInterval);
    }
}
