// How loud each channel is played here: a dialog with a row for each channel that the role hears.
import { instance, nameOf, setIcon } from './desk-view.js';
import { memory } from './memory.js';
import { say } from './sentences.js';

const step = 10; // percent

export class Levels {
    #list;
    #changed;
    #role = '';
    #rows = []; // of each channel; null if it is not heard

    /** `changed` is called with a sentence for screen readers when a level has changed. */
    constructor(list, changed) {
        this.#list = list;
        this.#changed = changed;
    }

    build(role, channels) {
        this.#role = role;
        this.#rows = channels.map((channel) => (channel.listen ? this.#row(nameOf(channel)) : null));
        this.#list.replaceChildren(...this.#rows.flatMap((row) => row?.element ?? []));
    }

    /** For each channel, whether nothing of it is played. */
    get silenced() {
        return this.#rows.map((row) => row === null || row.muted || row.level === 0);
    }

    /** From 0 to 1 for each channel. Squared, because half of the level then sounds half as loud. */
    get factors() {
        const silenced = this.silenced;
        return this.#rows.map((row, index) => (silenced[index] ? 0 : Math.round((row.level / 100) ** 2 * 1000) / 1000));
    }

    #row(name) {
        const element = instance('level-row');
        const row = { element, name, ...memory.level(this.#role, name) };
        const find = (selector) => element.querySelector(selector);
        find('.level-channel').textContent = name;
        for (const [selector, key] of [['.quieter', 'quieter'], ['.louder', 'louder'], ['.mute', 'mute']]) {
            find(selector).setAttribute('aria-label', say(key, { channel: name }));
        }
        const set = (level, muted) => {
            row.level = Math.min(100, Math.max(0, level));
            row.muted = muted;
            memory.setLevel(this.#role, name, { level: row.level, muted });
            this.#show(row);
            const isSilent = muted || row.level === 0;
            this.#changed(say(isSilent ? 'levelMuted' : 'levelIs', { channel: name, percent: row.level }));
        };
        find('.quieter').addEventListener('click', () => set(row.level - step, row.muted));
        find('.louder').addEventListener('click', () => set(row.level + step, false));
        find('.mute').addEventListener('click', () => {
            const isSilent = row.muted || row.level === 0;
            set(isSilent && row.level === 0 ? 100 : row.level, !isSilent); // unmuted at 0 it would still be silent
        });
        this.#show(row);
        return row;
    }

    #show({ element, level, muted }) {
        const isSilent = muted || level === 0;
        element.classList.toggle('muted', isSilent);
        element.querySelector('.level-text').textContent = isSilent ? say('muted') : say('percent', { percent: level });
        element.querySelector('.level-bar').style.width = `${level}%`;
        element.querySelector('.mute').setAttribute('aria-pressed', String(isSilent));
        setIcon(element.querySelector('.mute use'), isSilent ? '#icon-muted' : '#icon-heard');
    }
}
