// Draws the cards of a role's channels and the talk keys on them.
import { memory } from './memory.js';
import { whoTalks } from './sentences.js';

const keyWords = {
    idle: ['Talk', 'hold or tap', '#icon-talk'],
    held: ['TALKING', 'let go to stop', '#icon-talking'],
    latched: ['LATCHED', 'tap to release', '#icon-latched'],
    offline: ['Offline', 'please wait', '#icon-off'],
    'no-microphone': ['Listen only', 'no microphone', '#icon-off'],
};

export class DeskView {
    #elements;
    #levelChanged;
    #role = '';
    #channels = [];
    #cards = [];
    #buttons = [];
    #shape = '';

    /** `elements`: {list, allArea, empty}. `levelChanged` is called when a listen level has changed. */
    constructor(elements, levelChanged) {
        this.#elements = elements;
        this.#levelChanged = levelChanged;
    }

    /** Builds the cards unless they are the same. True if it did: then the buttons are new ones. */
    build(role, channels) {
        const shape = JSON.stringify([role, channels]);
        if (shape === this.#shape) return false;
        this.#shape = shape;
        this.#role = role;
        this.#channels = channels;
        this.#buttons = [];
        this.#cards = channels.map((channel) => this.#card(channel));
        this.#elements.list.replaceChildren(...this.#cards.map(({ row }) => row));
        this.#elements.empty.hidden = channels.length > 0;
        this.#elements.allArea.replaceChildren();
        if (this.hasAllKey) {
            const button = this.#key('Talk on all channels', 0);
            button.classList.add('all');
            this.#elements.allArea.append(button);
        }
        this.#elements.allArea.hidden = !this.hasAllKey;
        return true;
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

    /** From 0 to 1 for each channel. Squared, because half of the slider then sounds half as loud. */
    get levels() {
        return this.#cards.map(({ level, muted }) => (muted ? 0 : Math.round((level / 100) ** 2 * 1000) / 1000));
    }

    /** `talkers`: {talking: [names], announcing} for each channel. */
    showTalkers(talkers) {
        this.#cards.forEach((card, index) => {
            const names = (talkers[index]?.talking ?? []).map(String);
            const announcing = Boolean(talkers[index]?.announcing);
            const who = whoTalks(names);
            const words = announcing ? ['Announcement', who].filter(Boolean).join(' · ') : who;
            setText(card.who, words || 'Quiet');
            setIcon(card.whoIcon, announcing ? '#icon-announcement' : '#icon-person');
            card.row.classList.toggle('busy', words !== '');
            card.row.classList.toggle('announcing', announcing);
        });
    }

    /** `blocked`: why no key works ('offline', 'no-microphone'), or null. */
    showKeys(keys, blocked) {
        this.#buttons.forEach((button, key) => {
            const state = keys.state(key);
            const shown = blocked ?? state;
            const [words, hint, icon] = keyWords[shown];
            const isAll = button.classList.contains('all');
            setText(button.querySelector('.key-state'), isAll && shown === 'idle' ? 'Talk to all' : words);
            setText(button.querySelector('.key-hint'), hint);
            setIcon(button.querySelector('use'), icon);
            button.dataset.state = shown;
            button.setAttribute('aria-pressed', String(state !== 'idle'));
            button.setAttribute('aria-disabled', String(blocked !== null));
        });
    }

    nameOf(channel) {
        return this.#channels[channel]?.name ?? '';
    }

    #card(channel) {
        const row = instance('channel-card');
        const card = {
            row,
            who: row.querySelector('.who-text'),
            whoIcon: row.querySelector('.who use'),
            level: 100,
            muted: !channel.listen,
        };
        const name = row.querySelector('.channel');
        name.textContent = channel.name;
        name.title = channel.name;
        if (channel.listen) this.#wireLevel(card, channel.name);
        else row.querySelector('.listen').remove();
        if (channel.talk) {
            row.querySelector('.key-place').replaceWith(this.#key(`Talk on ${channel.name}`, this.#buttons.length + 1));
        } else row.querySelector('.key-place').remove();
        row.classList.toggle('half', channel.talk && channel.listen);
        return card;
    }

    #wireLevel(card, name) {
        const slider = card.row.querySelector('.level');
        const button = card.row.querySelector('.mute');
        const icon = button.querySelector('use');
        const show = () => {
            const silent = card.muted || card.level === 0;
            slider.style.setProperty('--level', `${card.level}%`);
            slider.setAttribute('aria-valuetext', silent ? 'muted' : `${card.level} percent`);
            button.setAttribute('aria-pressed', String(silent));
            setIcon(icon, silent ? '#icon-muted' : '#icon-heard');
            card.row.classList.toggle('muted', silent);
        };
        slider.setAttribute('aria-label', `Volume of ${name}`);
        button.setAttribute('aria-label', `Mute ${name}`);
        card.level = memory.level(this.#role, name);
        slider.value = card.level;
        slider.addEventListener('input', () => {
            card.level = Number(slider.value);
            card.muted = false;
            memory.setLevel(this.#role, name, card.level);
            show();
            this.#levelChanged();
        });
        button.addEventListener('click', () => {
            const silent = card.muted || card.level === 0;
            card.muted = !silent;
            if (silent && card.level === 0) {
                card.level = 100; // unmuted at 0 it would still be silent
                slider.value = card.level;
                memory.setLevel(this.#role, name, card.level);
            }
            show();
            this.#levelChanged();
        });
        show();
    }

    #key(label, number) {
        const button = instance('talk-key');
        button.setAttribute('aria-label', label);
        button.querySelector('kbd').textContent = number < 10 ? String(number) : '';
        this.#buttons.push(button);
        return button;
    }
}

function instance(template) {
    return document.getElementById(template).content.firstElementChild.cloneNode(true);
}

/** Does not touch text that has not changed: a screen reader would read it again. */
function setText(element, text) {
    if (element.textContent !== text) element.textContent = text;
}

function setIcon(use, icon) {
    if (use.getAttribute('href') !== icon) use.setAttribute('href', icon);
}
