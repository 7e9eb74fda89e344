// Draws a role's channels: a talk key for each one to talk on, a row for each one that is only heard.
import { say, whoTalks } from './sentences.js';

const keyWords = {
    idle: ['talk', 'talkHint', '#icon-talk'],
    held: ['held', 'heldHint', '#icon-talking'],
    latched: ['latched', 'latchedHint', '#icon-latched'],
    offline: ['offline', 'offlineHint', '#icon-off'],
    'no-microphone': ['noMicrophone', 'noMicrophoneHint', '#icon-off'],
};
const longName = 22; // characters, from which on a name is set smaller
const veryLongName = 44;
const smallKey = 11; // rem; a lower one shows less

export class DeskView {
    #elements;
    #channels = [];
    #cards = [];
    #buttons = [];
    #shape = '';

    /** `elements`: {area, list, heard, heardArea, allArea, empty}. */
    constructor(elements) {
        this.#elements = elements;
        new ResizeObserver(() => this.#fit()).observe(elements.area);
    }

    /** True if there are more keys than the screen can show at once. */
    get scrolls() {
        return 'scrolls' in this.#elements.area.dataset;
    }

    /** Builds the cards unless they are the same. True if it did: then the buttons are new ones. */
    build(channels, language) {
        const shape = JSON.stringify([language, channels]);
        if (shape === this.#shape) return false;
        this.#shape = shape;
        this.#channels = channels;
        this.#buttons = [];
        this.#cards = channels.map((channel) => this.#card(channel));
        const { list, heard, heardArea, allArea, empty } = this.#elements;
        const rows = (talk) => this.#cards.filter((card, index) => channels[index].talk === talk).map(({ row }) => row);
        list.replaceChildren(...rows(true));
        heard.replaceChildren(...rows(false));
        heardArea.hidden = heard.children.length === 0;
        empty.hidden = channels.length > 0;
        allArea.replaceChildren();
        if (this.hasAllKey) allArea.append(this.#allKey());
        allArea.hidden = !this.hasAllKey;
        this.#fit();
        return true;
    }

    #fit() {
        const { area, list, heardArea } = this.#elements;
        const columns = getComputedStyle(list).gridTemplateColumns.split(' ').length;
        const height = (area.clientHeight - heardArea.offsetHeight) / Math.ceil(list.children.length / columns);
        const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
        list.classList.toggle('compact', height < smallKey * rem);
        list.removeAttribute('data-many');
        list.toggleAttribute('data-many', area.scrollHeight > area.clientHeight); // then rows need not be equal
        area.toggleAttribute('data-scrolls', area.scrollHeight > area.clientHeight);
    }

    get #talkChannels() {
        return this.#channels.flatMap((channel, index) => (channel.talk ? [index] : []));
    }

    get hasAllKey() {
        return this.#talkChannels.length > 1;
    }

    /** The channels that each key opens: one key per channel, the key for all of them last. */
    get channelsOfKeys() {
        const talk = this.#talkChannels;
        const keys = talk.map((channel) => [channel]);
        return this.hasAllKey ? [...keys, talk] : keys;
    }

    get buttons() {
        return this.#buttons;
    }

    /** `talkers`: {talking: [names], announcing, call, light} for each channel. */
    showTalkers(talkers) {
        this.#cards.forEach((card, index) => {
            const who = whoTalks((talkers[index]?.talking ?? []).map(String));
            const announcing = Boolean(talkers[index]?.announcing);
            const announcement = who ? say('announcementAnd', { names: who }) : say('announcement');
            const words = announcing ? announcement : who;
            setText(card.who, words || say('quiet'));
            setIcon(card.whoIcon, announcing ? '#icon-announcement' : '#icon-person');
            card.row.classList.toggle('busy', words !== '');
            showCue(card, talkers[index] ?? {});
        });
    }

    /** `silenced`: for each channel, whether this device plays nothing of it. */
    showSilenced(silenced) {
        this.#cards.forEach(({ note }, index) => {
            note.hidden = !this.#channels[index].listen || !silenced[index];
        });
    }

    /** `blocked`: why no key works ('offline', 'no-microphone'), or null. */
    showKeys(keys, now, blocked) {
        this.#buttons.forEach((button, key) => {
            const state = keys.state(key, now);
            const shown = blocked ?? state;
            const [words, hint, icon] = keyWords[shown];
            setText(button.querySelector('.key-state'), say(words));
            setText(button.querySelector('.key-hint'), say(hint));
            setIcon(button.querySelector('use'), icon);
            button.dataset.state = shown;
            button.setAttribute('aria-pressed', String(state !== 'idle'));
            button.setAttribute('aria-disabled', String(blocked !== null));
        });
    }

    nameOf(channel) {
        return nameOf(this.#channels[channel]);
    }

    #card(channel) {
        const row = instance('channel-card');
        const button = row.querySelector('.key');
        const name = row.querySelector('.channel');
        showName(name, nameOf(channel));
        if (channel.talk) {
            this.#number(button);
            row.querySelector('.heard-icon').remove();
        } else button.replaceWith(row.querySelector('.heard-icon'), name);
        return {
            row,
            who: row.querySelector('.who-text'),
            whoIcon: row.querySelector('.who use'),
            note: row.querySelector('.silenced'),
            cue: row.querySelector('.cue'),
        };
    }

    #allKey() {
        const button = instance('channel-card').querySelector('.key');
        button.classList.add('all');
        button.querySelector('.channel').textContent = say('allChannels');
        this.#number(button);
        button.querySelector('kbd').textContent = '0';
        return button;
    }

    /** Gives a key its place among the keys of the keyboard. */
    #number(button) {
        this.#buttons.push(button);
        button.querySelector('kbd').textContent = this.#buttons.length < 10 ? String(this.#buttons.length) : '';
    }
}

export const nameOf = (channel) => channel?.name || say('unnamedChannel');

function showCue({ row, cue }, { call = null, light = null }) {
    cue.hidden = !light;
    setText(cue, light ? `${say(light.kind)} ${light.text}`.trim() : '');
    if (light) row.dataset.light = light.kind;
    else delete row.dataset.light;
    row.classList.toggle('unanswered', Boolean((light && !light.acknowledged) || (call && !call.mine && !call.acknowledged)));
}

/** The name whole, in smaller type if it is long. */
function showName(element, name) {
    element.textContent = name;
    element.classList.toggle('long', name.length >= longName);
    element.classList.toggle('very-long', name.length >= veryLongName);
}

export function instance(template) {
    return document.getElementById(template).content.firstElementChild.cloneNode(true);
}

/** Does not touch text that has not changed: a screen reader would read it again. */
export function setText(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

export function setIcon(use, icon) {
    if (use.getAttribute('href') !== icon) use.setAttribute('href', icon);
}
